#include "kit/vtextpane.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTest>

namespace {

constexpr int entries = 100'000;

QByteArray entry(int number)
{
    return "/home/user/some/directory/file-" + QByteArray::number(number) + ".txt\tclean\n";
}

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

  private slots:
    void keepsWhatItIsGiven_data();
    void keepsWhatItIsGiven();
    void chunksJoinWithoutAnExtraLine();
    void endlessLinesGoOnInTheNextRow();
    void hostileTextIsPaintedInItsRow();
    void hiddenPaneIsCheap();
    void visiblePanePaintsAtMostSixtyPicturesASecond();
    void followsItsEndOnlyWhileThere();
    void widthGrowsWithTheRowsInView();
    void selectionIsExact();
    void keysScrollAndCopy();
    void clearStartsAfresh();
};

void TestTextPane::keepsWhatItIsGiven_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("lines");
    QTest::newRow("nothing") << QByteArray() << 0;
    QTest::newRow("tags") << QByteArray("<b>x</b>&amp;<img src=\"/etc/passwd\">\n</pre>") << 2;
    QTest::newRow("invalid UTF-8") << QByteArray("\xFF\xFE/\xC3(\xE2\x82\n\xF0\x9F") << 2;
    QTest::newRow("NUL") << QByteArray("a\0b\n", 4) << 1;
    QTest::newRow("blank lines") << QByteArray("\n\n") << 2;
    QTest::newRow("Windows line ends") << QByteArray("a\r\nb\r\n") << 2;
}

void TestTextPane::keepsWhatItIsGiven()
{
    QFETCH(QByteArray, text);
    QFETCH(int, lines);
    VTextPane pane(nullptr);
    pane.append(text);
    QCOMPARE(pane.text(), text);
    QCOMPARE(pane.lineCount(), lines);
    pane.resize(300, 200);
    pane.grab();
    pane.selectAll();
    QCOMPARE(pane.selectedText(), text);
    pane.grab();

    VTextPane bytewise(nullptr);
    for (const char byte : text)
        bytewise.append(QByteArray(1, byte));
    QCOMPARE(bytewise.text(), text);
    QCOMPARE(bytewise.lineCount(), lines);
}

void TestTextPane::chunksJoinWithoutAnExtraLine()
{
    VTextPane pane(nullptr);
    pane.append("one\ntw");
    pane.append(QStringLiteral("o\n"));
    pane.append("three\n");
    QCOMPARE(pane.text(), QByteArray("one\ntwo\nthree\n"));
    QCOMPARE(pane.lineCount(), 3);
}

void TestTextPane::endlessLinesGoOnInTheNextRow()
{
    VTextPane pane(nullptr);
    const QByteArray text = "x" + QByteArray("\xE2\x82\xAC").repeated(10'000) + "\nend";
    pane.append(text);
    QCOMPARE(pane.text(), text);
    QCOMPARE(pane.lineCount(), 5);
    pane.append(QByteArray(5'000'000, 'y'));
    pane.resize(300, 200);
    QElapsedTimer timer;
    timer.start();
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    pane.grab();
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
}

/// Control characters and marks that reverse the text must not hide what a file is called.
void TestTextPane::hostileTextIsPaintedInItsRow()
{
    const auto paint = [](const char* text) {
        VTextPane pane(nullptr);
        pane.append(text);
        pane.resize(300, 60);
        return pane.grab().toImage();
    };
    QCOMPARE(paint("exe\xE2\x80\xAE.fdp"), paint("exe\xEF\xBF\xBD.fdp"));
    QCOMPARE(paint("a\xE2\x80\xA8.b"), paint("a\xEF\xBF\xBD.b"));
    QCOMPARE(paint("a\r.b"), paint("a\xE2\x90\x8D.b"));
    QCOMPARE(paint("a\x1B[2Jb"), paint("a\xE2\x90\x9B[2Jb"));
    QVERIFY(paint("a\r\n") == paint("a\n") && paint("ab") != paint("a"));
}

void TestTextPane::hiddenPaneIsCheap()
{
    VTextPane pane(nullptr);
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < entries; ++i)
        pane.append(entry(i));
    const qint64 filled = timer.restart();
    QVERIFY2(filled < 1000, qPrintable(QString::number(filled)));
    QCOMPARE(pane.lineCount(), entries);
    pane.resize(400, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(pane.verticalScrollBar()->value(), pane.verticalScrollBar()->maximum());
    QVERIFY(pane.verticalScrollBar()->maximum() > entries - 20);
}

void TestTextPane::visiblePanePaintsAtMostSixtyPicturesASecond()
{
    VTextPane pane(nullptr);
    pane.resize(400, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    PaintCounter pictures(pane.viewport());
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < entries; ++i) {
        pane.append(entry(i));
        QCoreApplication::processEvents();
    }
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed < 10'000, qPrintable(QString::number(elapsed)));
    QVERIFY2(pictures.count <= elapsed / 15 + 3, qPrintable(QString::number(pictures.count)));
    QTRY_VERIFY(pane.verticalScrollBar()->value() > entries - 20);
    QVERIFY(pictures.count > 1);
    qInfo("%lld ms and %d pictures for %d entries", elapsed, pictures.count, entries);
}

void TestTextPane::followsItsEndOnlyWhileThere()
{
    VTextPane pane(nullptr);
    pane.resize(400, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    QScrollBar* bar = pane.verticalScrollBar();
    const auto fill = [&pane, bar] {
        const int before = bar->maximum();
        for (int i = 0; i < 100; ++i)
            pane.append(entry(i));
        return QTest::qWaitFor([bar, before] { return bar->maximum() >= before + 90; });
    };
    QVERIFY(fill());
    QCOMPARE(bar->value(), bar->maximum());
    bar->setValue(7);
    QVERIFY(fill());
    QCOMPARE(bar->value(), 7);
    bar->setValue(bar->maximum());
    QVERIFY(fill());
    QCOMPARE(bar->value(), bar->maximum());
    pane.resize(400, 90);
    QCoreApplication::processEvents();
    QCOMPARE(bar->value(), bar->maximum());
}

void TestTextPane::widthGrowsWithTheRowsInView()
{
    VTextPane pane(nullptr);
    pane.resize(300, 200);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    const QByteArray wide(100, 'W'), thin(120, 'i');
    const auto reach = [&pane] { return pane.horizontalScrollBar()->maximum() + pane.viewport()->width(); };
    pane.append(thin + '\n' + wide + '\n');
    const int width = pane.fontMetrics().horizontalAdvance(QString::fromLatin1(wide));
    QTRY_VERIFY2(reach() >= width, qPrintable(QString::number(reach())));
    QVERIFY(reach() < width + 20);
}

void TestTextPane::selectionIsExact()
{
    VTextPane pane(nullptr);
    const QByteArray text = "first \xFF\xFE end\nse\xC3\xB6tond\nthird\n";
    pane.append(text);
    pane.resize(400, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
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

void TestTextPane::keysScrollAndCopy()
{
    VTextPane pane(nullptr);
    for (int i = 0; i < 100; ++i)
        pane.append(entry(i));
    pane.resize(200, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowActive(&pane));
    QScrollBar* bar = pane.verticalScrollBar();
    QTest::keyClick(&pane, Qt::Key_Home);
    QCOMPARE(bar->value(), 0);
    QTest::keyClick(&pane, Qt::Key_PageDown);
    QCOMPARE(bar->value(), bar->pageStep());
    QTest::keyClick(&pane, Qt::Key_Up);
    QCOMPARE(bar->value(), bar->pageStep() - 1);
    QTest::keyClick(&pane, Qt::Key_End);
    QCOMPARE(bar->value(), bar->maximum());

    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    QTest::keySequence(&pane, QKeySequence::Copy);
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
    QTest::keySequence(&pane, QKeySequence::SelectAll);
    QTest::keySequence(&pane, QKeySequence::Copy);
    QCOMPARE(QGuiApplication::clipboard()->text().toUtf8(), pane.text());
}

void TestTextPane::clearStartsAfresh()
{
    VTextPane pane(nullptr);
    pane.resize(200, 144);
    pane.show();
    QVERIFY(QTest::qWaitForWindowExposed(&pane));
    for (int i = 0; i < 100; ++i)
        pane.append(entry(i));
    pane.selectAll();
    pane.clear();
    QCOMPARE(pane.text(), QByteArray());
    QCOMPARE(pane.selectedText(), QByteArray());
    QCOMPARE(pane.verticalScrollBar()->maximum(), 0);
    pane.append("new\n");
    QCOMPARE(pane.lineCount(), 1);
}

QTEST_MAIN(TestTextPane)
#include "tst_textpane.moc"
