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

/// A pane that is on the screen, of this many rows' height.
struct ShownPane : VTextPane
{
    explicit ShownPane(int height = 144)
        : VTextPane(nullptr)
    {
        resize(400, height);
        show();
        shown = QTest::qWaitForWindowExposed(this);
    }

    void fill(int count)
    {
        for (int i = 0; i < count; ++i)
            append(entry(i));
    }

    QScrollBar* bar() const { return verticalScrollBar(); }
    bool atEnd() const { return bar()->value() == bar()->maximum(); }

    bool shown = false;
};

/// Counts the pictures that a widget paints.
class PaintCounter : public QObject
{
  public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
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
    void keepsWhatItIsGiven_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("lines");
        QTest::newRow("nothing") << QByteArray() << 0;
        QTest::newRow("tags") << QByteArray("<b>x</b>&amp;<img src=\"/etc/passwd\">\n</pre>") << 2;
        QTest::newRow("invalid UTF-8") << QByteArray("\xFF\xFE/\xC3(\xE2\x82\n\xF0\x9F") << 2;
        QTest::newRow("NUL") << QByteArray("a\0b\n", 4) << 1;
        QTest::newRow("blank lines") << QByteArray("\n\n") << 2;
        QTest::newRow("Windows line ends") << QByteArray("a\r\nb\r\n") << 2;
        // A line of 10 * 4096 bytes goes on in 11 rows, for none ends within a character.
        QTest::newRow("endless") << "xx" + QByteArray("\xE2\x82\xAC").repeated(13'652) + "\nend" << 12;
        QTest::newRow("as long as a row") << QByteArray(4096, 'x') + "\r\nend" << 2;
        QTest::newRow("many lines") << QByteArray("line\n").repeated(1000) << 1000;
    }

    /// At once, byte by byte and from a file.
    void keepsWhatItIsGiven()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, lines);
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
        }
        const QImage picture = whole.grab().toImage();
        QCOMPARE(bytewise.grab().toImage(), picture);
        QCOMPARE(filed.grab().toImage(), picture);
    }

    /// Control characters and marks that reverse the text must not hide what a file is called.
    void hostileTextIsPaintedInItsRow()
    {
        const auto paint = [](const char* text, TextRows::Encoding encoding = TextRows::Encoding::Utf8) {
            VTextPane pane(nullptr, nullptr, encoding);
            pane.append(text);
            pane.resize(300, 60);
            return pane.grab().toImage();
        };
        QCOMPARE(paint("exe\xE2\x80\xAE.fdp"), paint("exe\xEF\xBF\xBD.fdp"));
        QCOMPARE(paint("a\xE2\x80\xA8.b"), paint("a\xEF\xBF\xBD.b"));
        QCOMPARE(paint("a\r.b\r"), paint("a\xE2\x90\x8D.b\xE2\x90\x8D"));
        QCOMPARE(paint("a\x1B[2Jb"), paint("a\xE2\x90\x9B[2Jb"));
        QCOMPARE(paint("\xC3\xA9\x9B", TextRows::Encoding::Latin1), paint("\xC3\x83\xC2\xA9\xEF\xBF\xBD"));
        QVERIFY(paint("a\r\n") == paint("a\n") && paint("ab") != paint("a"));
    }

    void tabsStandEveryEightColumns()
    {
        const auto paint = [](const char* text) {
            VTextPane pane(nullptr);
            QFont font(QStringLiteral("Courier New"), 11);
            font.setStyleHint(QFont::TypeWriter);
            pane.setFont(font);
            pane.append(text);
            return pane.grab().toImage();
        };
        QCOMPARE(paint("Recursive\t: Yes"), paint("Recursive       : Yes"));
    }

    void hiddenPaneIsCheap()
    {
        QElapsedTimer timer;
        timer.start();
        ShownPane pane;
        pane.hide();
        pane.fill(entries);
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(pane.lineCount(), entries);
        pane.show();
        QVERIFY(pane.atEnd() && pane.bar()->maximum() > entries - 20);
        QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
    }

    void visiblePanePaintsAtMostSixtyPicturesASecond()
    {
        ShownPane pane;
        PaintCounter pictures(pane.viewport());
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < entries; ++i) {
            pane.append(entry(i));
            QCoreApplication::processEvents();
        }
        QVERIFY2(timer.elapsed() < 10'000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY2(pictures.count <= timer.elapsed() / 15 + 3, qPrintable(QString::number(pictures.count)));
        QTRY_VERIFY(pane.bar()->value() > entries - 20);
        QVERIFY(pictures.count > 1);
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

        ShownPane fromStart;
        fromStart.goToStart();
        fromStart.fill(100);
        QTRY_VERIFY(fromStart.bar()->maximum() >= 90);
        QCOMPARE(fromStart.bar()->value(), 0);
    }

    void widthGrowsWithTheRowsInView()
    {
        ShownPane pane;
        const QByteArray wide(100, 'W'), thin(120, 'i');
        const auto reach = [&] { return pane.horizontalScrollBar()->maximum() + pane.viewport()->width(); };
        pane.append(thin + '\n' + wide + '\n');
        const int width = pane.fontMetrics().horizontalAdvance(QString::fromLatin1(wide));
        QTRY_VERIFY2(reach() >= width, qPrintable(QString::number(reach())));
        QVERIFY(reach() < width + 20);
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
        QCOMPARE(drag({0, row / 2}, {100, 140}), text);
        QCOMPARE(drag({100, 140}, {0, row / 2}), text);
        QCOMPARE(drag({5, 5}, {5, 5}), QByteArray());
    }

    void keysScrollAndCopy()
    {
        ShownPane pane;
        pane.fill(100);
        QVERIFY(QTest::qWaitForWindowActive(&pane));
        QTRY_VERIFY(pane.bar()->maximum() > 80);
        QTest::keyClick(&pane, Qt::Key_Home);
        QCOMPARE(pane.bar()->value(), 0);
        QTest::keyClick(&pane, Qt::Key_PageDown);
        QCOMPARE(pane.bar()->value(), pane.bar()->pageStep());
        QTest::keyClick(&pane, Qt::Key_Up);
        QCOMPARE(pane.bar()->value(), pane.bar()->pageStep() - 1);
        QTest::keyClick(&pane, Qt::Key_End);
        QVERIFY(pane.atEnd());

        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        QTest::keySequence(&pane, QKeySequence::Copy);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
        QTest::keySequence(&pane, QKeySequence::SelectAll);
        QTest::keySequence(&pane, QKeySequence::Copy);
        QCOMPARE(QGuiApplication::clipboard()->text().toUtf8(), pane.text());
        pane.clear();
        QCOMPARE(pane.bar()->maximum(), 0);
        QVERIFY(pane.text().isEmpty() && pane.selectedText().isEmpty());
    }

    /// Megabytes of rows without a single end of line, or with nothing else, keep nobody waiting.
    void strangeTextsAreCheap()
    {
        QByteArray blank(3 << 20, '\n');
        for (const QByteArray& text : {QByteArray(20 << 20, '\0'), blank}) {
            QElapsedTimer timer;
            timer.start();
            ShownPane pane;
            pane.append(text);
            QTRY_COMPARE(pane.lineCount(), text == blank ? 3 << 20 : (20 << 20) / 4096);
            pane.bar()->setValue(pane.bar()->maximum() / 2);
            pane.grab();
            QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
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
        QVERIFY(sameAt(entries / 8) && sameAt(entries / 4) && sameAt(1));
        QVERIFY(!sameAt(entries * 3 / 4) && !sameAt(entries - 20));
        QCOMPARE(cut.text(), text.left(text.size() / 2));

        // Cut while it is still being looked through.
        cut.setFile(fileOf(text));
        QVERIFY(temporary.resize(text.size() / 2));
        QTRY_VERIFY(cut.atEnd() && cut.lineCount() > entries / 3);
    }
};

QTEST_MAIN(TestTextPane)
#include "tst_textpane.moc"
