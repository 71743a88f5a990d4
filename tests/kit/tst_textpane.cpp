#include "kit/vtextpane.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTemporaryFile>
#include <QTest>

namespace {

constexpr int entries = 100'000;

QByteArray entry(int number)
{
    return "/home/user/some/directory/file-" + QByteArray::number(number) + ".txt\tclean\n";
}

/// A pane that is on the screen.
struct ShownPane : VTextPane
{
    ShownPane()
        : VTextPane(nullptr)
    {
        resize(400, 144);
        show();
        if (!QTest::qWaitForWindowExposed(this))
            qFatal("the pane is not shown");
    }

    void fill(int count)
    {
        for (int i = 0; i < count; ++i)
            append(entry(i));
    }

    QScrollBar* bar() const { return verticalScrollBar(); }
    bool atEnd() const { return bar()->value() == bar()->maximum(); }
};

QImage painted(const char* text, TextRows::Encoding encoding = TextRows::Encoding::Utf8)
{
    VTextPane pane(nullptr, nullptr, encoding);
    QFont font(QStringLiteral("Courier New"), 11);
    font.setStyleHint(QFont::TypeWriter);
    pane.setFont(font);
    pane.append(text);
    pane.resize(300, 60);
    return pane.grab().toImage();
}

/// Counts the pictures that a widget paints.
struct PaintCounter : QObject
{
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
    int count = 0;
};

} // namespace

class TestTextPane : public QObject
{
    Q_OBJECT

    QTemporaryFile temporary;

    /// A file with this content, open to be read.
    std::unique_ptr<QFile> fileOf(const QByteArray& content)
    {
        if (!temporary.open() || !temporary.resize(0) || temporary.write(content) != content.size() ||
            !temporary.flush())
            qFatal("no temporary file");
        auto file = std::make_unique<QFile>(temporary.fileName());
        if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            qFatal("the temporary file cannot be read");
        return file;
    }

  private slots:
    /// At once, byte by byte and from a file.
    void keepsWhatItIsGiven()
    {
        const std::pair<QByteArray, int> texts[] = {
            {{}, 0},
            {"<b>x</b>&amp;<img src=\"/etc/passwd\">\n</pre>", 2},
            {"\xFF\xFE/\xC3(\xE2\x82\n\xF0\x9F", 2},
            {QByteArray("a\0b\n", 4), 1},
            {"a\r\nb\r\n", 2},
            // A line of 10 * 4096 bytes goes on in 11 rows, for none ends within a character.
            {"xx" + QByteArray("\xE2\x82\xAC").repeated(13'652) + "\nend", 12},
            {QByteArray(4096, 'x') + "\r\nend", 2},
        };
        for (const auto& [text, lines] : texts) {
            VTextPane whole(nullptr), bytewise(nullptr), filed(nullptr);
            whole.append(text);
            for (const char byte : text)
                bytewise.append(QByteArray(1, byte));
            filed.setFile(fileOf(text));
            for (VTextPane* pane : {&whole, &bytewise, &filed}) {
                QCOMPARE(pane->text(), text);
                QTRY_COMPARE(pane->lineCount(), lines);
                pane->resize(300, 200);
                pane->selectAll();
                QCOMPARE(pane->selectedText(), text);
                QCOMPARE(pane->grab().toImage(), whole.grab().toImage());
            }
        }
    }

    /// Control characters and marks that reverse the text must not hide what a file is called.
    void hostileTextIsPaintedInItsRow()
    {
        QCOMPARE(painted("exe\xE2\x80\xAE.fdp"), painted("exe\xEF\xBF\xBD.fdp"));
        QCOMPARE(painted("a\xE2\x80\xA8.b"), painted("a\xEF\xBF\xBD.b"));
        QCOMPARE(painted("a\r.b\r"), painted("a\xE2\x90\x8D.b\xE2\x90\x8D"));
        QCOMPARE(painted("a\x1B[2Jb"), painted("a\xE2\x90\x9B[2Jb"));
        QCOMPARE(painted("\xC3\xA9\x9B", TextRows::Encoding::Latin1),
                 painted("\xC3\x83\xC2\xA9\xEF\xBF\xBD"));
        QCOMPARE(painted("a\tb"), painted("a       b"));
        QVERIFY(painted("a\r\n") == painted("a\n") && painted("ab") != painted("a"));
    }

    void visiblePanePaintsAtMostSixtyPicturesASecond()
    {
        ShownPane pane;
        PaintCounter pictures;
        pane.viewport()->installEventFilter(&pictures);
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < entries; ++i) {
            pane.append(entry(i));
            QCoreApplication::processEvents();
        }
        QVERIFY(timer.elapsed() < 10'000);
        QVERIFY(pictures.count > 1 && pictures.count <= timer.elapsed() / 15 + 3);
        QTRY_VERIFY(pane.bar()->value() > entries - 20);
        pane.hide();
        pane.fill(entries);
        pane.show();
        QVERIFY(pane.atEnd() && pane.bar()->maximum() > 2 * entries - 20);
    }

    void followsItsEndOnlyWhileThere()
    {
        ShownPane pane;
        const auto fill = [&pane] {
            const int before = pane.bar()->maximum();
            pane.fill(100);
            return QTest::qWaitFor([&] { return pane.bar()->maximum() >= before + 90; });
        };
        QVERIFY(fill() && pane.atEnd());
        pane.bar()->setValue(7);
        QVERIFY(fill() && pane.bar()->value() == 7);
        pane.bar()->setValue(pane.bar()->maximum());
        QVERIFY(fill() && pane.atEnd());
        pane.resize(400, 90);
        QVERIFY(pane.atEnd());

        pane.clear();
        pane.goToStart();
        QVERIFY(fill() && pane.bar()->value() == 0);
    }

    void widthGrowsWithTheRowsInView()
    {
        ShownPane pane;
        const QByteArray wide(100, 'W');
        pane.append(QByteArray(120, 'i') + '\n' + wide + '\n');
        const int width = pane.fontMetrics().horizontalAdvance(QString::fromLatin1(wide));
        const auto hidden = [&] { return width - pane.viewport()->width(); };
        QTRY_VERIFY(pane.horizontalScrollBar()->maximum() >= hidden());
        QVERIFY(pane.horizontalScrollBar()->maximum() < hidden() + 20);
    }

    void selectionIsExact()
    {
        ShownPane pane;
        const QByteArray text = "first \xFF\xFE end\nse\xC3\xB6tond\nthird\n";
        pane.append(text);
        QTRY_COMPARE(pane.lineCount(), 3);
        QWidget* view = pane.viewport();
        const int row = pane.fontMetrics().lineSpacing();
        const auto drag = [&](QPoint from, QPoint to) {
            QTest::mousePress(view, Qt::LeftButton, {}, from);
            QMouseEvent move(QEvent::MouseMove, to, view->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
            QApplication::sendEvent(view, &move);
            QTest::mouseRelease(view, Qt::LeftButton, {}, to);
            return pane.selectedText();
        };
        QCOMPARE(drag({0, row / 2}, {390, row / 2}), QByteArray("first \xFF\xFE end"));
        QCOMPARE(drag({390, row * 3 / 2}, {0, row * 3 / 2}), QByteArray("se\xC3\xB6tond"));
        const int afterSeo = 3 + pane.fontMetrics().horizontalAdvance(QStringLiteral("se\u00F6"));
        QCOMPARE(drag({390, row / 2}, {afterSeo, row * 2}), QByteArray("\nse\xC3\xB6"));
        QCOMPARE(drag({100, 140}, {0, row / 2}), text);
        QCOMPARE(drag({5, 5}, {5, 5}), QByteArray());
    }

    void keysScrollAndCopy()
    {
        ShownPane pane;
        pane.fill(100);
        QVERIFY(QTest::qWaitForWindowActive(&pane));
        QTRY_VERIFY(pane.bar()->maximum() > 80);
        const int page = pane.bar()->pageStep();
        for (const auto& [key, row] :
             {std::pair(Qt::Key_Home, 0), {Qt::Key_PageDown, page}, {Qt::Key_End, pane.bar()->maximum()}}) {
            QTest::keyClick(&pane, key);
            QCOMPARE(pane.bar()->value(), row);
        }

        const auto copied = [&pane] {
            QTest::keySequence(&pane, QKeySequence::Copy);
            return QGuiApplication::clipboard()->text().toUtf8();
        };
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        QCOMPARE(copied(), QByteArray("before"));
        QTest::keySequence(&pane, QKeySequence::SelectAll);
        QCOMPARE(copied(), pane.text());
        pane.clear();
        QVERIFY(pane.bar()->maximum() == 0 && pane.text().isEmpty() && pane.selectedText().isEmpty());
    }

    /// Megabytes of rows without a single end of line, or with nothing else, keep nobody waiting.
    void strangeTextsAreCheap()
    {
        for (const auto& [text, lines] : {std::pair(QByteArray(20 << 20, '\0'), (20 << 20) / 4096),
                                          {QByteArray(3 << 20, '\n'), 3 << 20}}) {
            QElapsedTimer timer;
            timer.start();
            ShownPane pane;
            pane.append(text);
            QTRY_COMPARE(pane.lineCount(), lines);
            pane.bar()->setValue(pane.bar()->maximum() / 2);
            pane.grab();
            QVERIFY(timer.elapsed() < 5000);
        }
    }

    /// The rows that a file loses are empty, and the others as they were.
    void fileMayBeCutShort()
    {
        QByteArray text;
        for (int i = 0; i < entries; ++i)
            text += entry(i);
        ShownPane whole, cut;
        whole.append(text);
        cut.setFile(fileOf(text));
        QTRY_VERIFY(whole.bar()->maximum() > entries - 20 && cut.bar()->maximum() > entries - 20);
        QVERIFY(temporary.resize(text.size() / 2));
        const auto sameAt = [&](int row) {
            whole.bar()->setValue(row);
            cut.bar()->setValue(row);
            return whole.grab().toImage() == cut.grab().toImage();
        };
        QVERIFY(sameAt(entries / 4) && sameAt(1) && !sameAt(entries * 3 / 4));
        QCOMPARE(cut.text(), text.left(text.size() / 2));
        // Cut while it is still being looked through.
        cut.setFile(fileOf(text));
        QVERIFY(temporary.resize(text.size() / 2));
        QTRY_VERIFY(cut.atEnd() && cut.lineCount() > entries / 3);
    }
};

QTEST_MAIN(TestTextPane)
#include "tst_textpane.moc"
