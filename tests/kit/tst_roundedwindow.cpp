#include "kit/framelessflags.h"
#include "kit/labels.h"
#include "kit/roundedwindow.h"
#include "kit/vpushbutton.h"
#include "tests/support/virtualscreen.h"

#include <QApplication>
#include <QLabel>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

namespace {

using Window = RoundedWindow<QWidget>;

class TestWindow : public Window
{
  public:
    TestWindow()
        : Window(QStringLiteral("Linux_GUI_popup_bg2.png"), true, nullptr, FRAMELESS_FLAGS)
    {
        setFixedSize(300, 200);
        move(100, 100);
        makeWidgetRound(5, 10);
    }
};

/// What the user does with the pointer, in the words of xdotool.
void usePointer(const QString& words)
{
    QCOMPARE(QProcess::execute("xdotool", words.split(' ')), 0);
}

} // namespace

class TestRoundedWindow : public QObject
{
    Q_OBJECT

  private slots:
    void maskCutsTheCornersAlone_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("percent");
        QTest::newRow("message box") << QSize(290, 158) << QSize(5, 10);
        QTest::newRow("main window") << QSize(724, 564) << QSize(3, 3);
        QTest::newRow("progress") << QSize(560, 230) << QSize(5, 20);
        QTest::newRow("odd") << QSize(333, 101) << QSize(6, 13);
        QTest::newRow("ellipse") << QSize(200, 100) << QSize(100, 100);
    }

    /// Each quarter of an ellipse is cut to the pixel, and nothing else.
    void maskCutsTheCornersAlone()
    {
        QFETCH(QSize, size);
        QFETCH(QSize, percent);
        Window window(QString(), false, nullptr, FRAMELESS_FLAGS);
        window.resize(size);
        window.makeWidgetRound(percent.width(), percent.height());
        const QRegion mask = window.mask();
        const int right = size.width() - 2, bottom = size.height() - 2;
        QCOMPARE(mask.boundingRect(), QRect(0, 0, size.width() - 1, size.height() - 1));
        const double rx = size.width() * percent.width() / 200.0,
                     ry = size.height() * percent.height() / 200.0;
        for (int x = 0; x <= right / 2; ++x) {
            for (int y = 0; y <= bottom / 2; ++y) {
                const double across = std::max(rx - x, 0.0) / rx, down = std::max(ry - y, 0.0) / ry;
                const double beyond = (std::hypot(across, down) - 1) * std::min(rx, ry); // pixels, about
                const bool straight = x > rx + 2 || y > ry + 2;
                if (!straight && std::abs(beyond) < 2)
                    continue;
                for (const QPoint point : {QPoint(x, y), QPoint(right - x, y), QPoint(x, bottom - y),
                                           QPoint(right - x, bottom - y)})
                    QVERIFY2(mask.contains(point) == (straight || beyond < 0),
                             qPrintable(QString("%1, %2").arg(x).arg(y)));
            }
        }
    }

    void percentagesOver100CountAs99()
    {
        const QSize size(400, 300);
        QCOMPARE(roundedOutline(size, 101, 250), roundedOutline(size, 99, 99));
        QVERIFY(roundedOutline(size, 100, 100) != roundedOutline(size, 99, 99));
        QCOMPARE(QRegion(roundedOutline(size, 0, 0)), QRegion(0, 0, 400, 300));
    }

    void isFramelessWithOutline()
    {
        TestWindow window;
        QVERIFY(window.isWindow() && window.windowFlags().testFlag(Qt::FramelessWindowHint));
        QVERIFY(!window.windowIcon().isNull());
        RoundedWindow<QDialog> dialog(QString(), false, &window, FRAMELESS_FLAGS);
        QCOMPARE(dialog.windowType(), Qt::Dialog);
        const QImage image = window.grab().toImage();
        QCOMPARE(image.pixelColor(150, 0), QColor(113, 156, 197));
        QCOMPARE(image.pixelColor(298, 100), QColor(113, 156, 197));
        QVERIFY(image.pixelColor(150, 100) != QColor(113, 156, 197));
    }

    void showsItsMaskOnTheScreen()
    {
        QScreen* screen = QGuiApplication::primaryScreen();
        const QImage empty = screen->grabWindow().toImage();
        TestWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const auto shownRegion = [&] {
            const QImage image = screen->grabWindow().toImage();
            QRegion shown;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    if (image.pixel(x, y) != empty.pixel(x, y))
                        shown += QRect(x, y, 1, 1);
            return shown;
        };
        QTRY_COMPARE(shownRegion(), window.mask().translated(100, 100));
    }

    void dragMovesTheWindow()
    {
        TestWindow window;
        QLabel* label = richLabel(&window, "label");
        label->setText(QStringLiteral("<b>rich</b>"));
        label->setGeometry(200, 20, 80, 30);
        VPushButton button(QStringLiteral("button"), QString(), false, &window);
        button.setGeometry(100, 100, 80, 32);
        QSignalSpy clicks(&button, &QAbstractButton::clicked);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_COMPARE(window.pos(), QPoint(100, 100));

        usePointer("mousemove 130 130 mousedown 1 mousemove 180 170");
        QTRY_COMPARE(window.pos(), QPoint(150, 140));
        usePointer("mousemove 170 175 mouseup 1 mousemove 300 300");
        QTRY_COMPARE(window.pos(), QPoint(140, 145));

        usePointer("mousemove 360 175 mousedown 1 mousemove 320 130 mouseup 1"); // on the label
        QTRY_COMPARE(window.pos(), QPoint(100, 100));

        // Neither of these moves it; the button is the last to hear of them.
        usePointer("mousemove 130 130 mousedown 3 mousemove 180 170 mouseup 3");
        usePointer("mousemove 220 210 mousedown 1 mousemove 225 215 mouseup 1");
        QTRY_COMPARE(clicks.count(), 1);
        QCOMPARE(window.pos(), QPoint(100, 100));

        // Without its release, which went elsewhere, the drag lasts until the next one.
        QTest::mousePress(&window, Qt::LeftButton, {}, {30, 30});
        QMouseEvent strayMove(QEvent::MouseMove, QPointF(40, 45), window.mapToGlobal(QPointF(40, 45)),
                              Qt::NoButton, Qt::RightButton, {});
        QApplication::sendEvent(&window, &strayMove);
        QTRY_COMPARE(window.pos(), QPoint(110, 115));
        QTest::mouseRelease(&window, Qt::LeftButton, {}, {30, 30});
    }
};

/// Shapes are the X server's.
int main(int argc, char** argv)
{
    const VirtualScreen screen;
    if (!screen.isUp())
        return EXIT_FAILURE;
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    TestRoundedWindow test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_roundedwindow.moc"
