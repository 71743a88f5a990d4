#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QMetaMethod>
#include <QStackedWidget>
#include <QTest>
#include <QtMath>

/// What is to be seen of the window: its parts, their places and shapes, and how it is swept away.
class TestFrame : public MainWindowTest
{
    Q_OBJECT

    int area() const
    {
        int pixels = 0;
        for (const QRect& rect : window->mask())
            pixels += rect.width() * rect.height();
        return pixels;
    }

    bool sweeping() const
    {
        return window->mask().boundingRect().isValid() && !window->mask().contains({600, 250});
    }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    /// The close button, the product line and both dates end at the title area's edge.
    void titleAreaFitsAndEndsFlush()
    {
        const QWidget* area = find<QWidget>("topWidget");
        const auto endsFlush = [&](const char* name) {
            const QRect place = find<QWidget>(name)->geometry();
            return place.right() == area->rect().right() && area->rect().contains(place);
        };
        for (const char* name : {"btnClose", "lblProductName", "lnkUpdateNow", "lnkLastScan"})
            QTRY_VERIFY2(endsFlush(name), name);
        // The other rows keep their places when the last one goes.
        const int above = find<QWidget>("lnkUpdateNow")->y();
        click("btnUpdate");
        QApplication::processEvents();
        QCOMPARE(find<QWidget>("lnkUpdateNow")->y(), above);
    }

    void noButtonIsDead()
    {
        struct Access : QObject
        {
            using QObject::isSignalConnected;
        };
        const auto clicked = QMetaMethod::fromSignal(&QAbstractButton::clicked);
        for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
            // What can be checked has signals of its own.
            if (button->isEnabled() && !button->isCheckable())
                QVERIFY2((button->*&Access::isSignalConnected)(clicked), qPrintable(button->objectName()));
        }
    }

    void nothingIsCutOff()
    {
        auto* stack = find<QStackedWidget>("wgtstkMain");
        for (int i = 0; i < stack->count(); ++i) {
            stack->setCurrentIndex(i);
            QApplication::processEvents();
            for (const QWidget* widget : stack->widget(i)->findChildren<QWidget*>()) {
                const bool carriesText =
                    qobject_cast<const QLabel*>(widget) || qobject_cast<const QAbstractButton*>(widget);
                if (!carriesText || widget->objectName().isEmpty() || !widget->isVisible())
                    continue;
                const QRect place(widget->mapTo(stack, QPoint(0, 0)), widget->size());
                QVERIFY2(stack->rect().contains(place), qPrintable(widget->objectName()));
                const auto* button = qobject_cast<const QAbstractButton*>(widget);
                const int needed =
                    widget->inherits("VPushButton")
                        ? widget->fontMetrics().size(Qt::TextShowMnemonic, button->text()).width()
                        : widget->minimumSizeHint().width();
                QVERIFY2(widget->width() >= needed, qPrintable(widget->objectName()));
            }
        }
    }

    /// Of the window's own corners the kit has a test.
    void titleHasRoundCorners()
    {
        const QRegion mask = find<QLabel>("lblSelectedMenu")->mask();
        for (const QPoint point : {QPoint(0, 0), QPoint(2, 1), QPoint(119, 0), QPoint(117, 1)})
            QVERIFY(!mask.contains(point));
        for (const QPoint point :
             {QPoint(60, 0), QPoint(0, 12), QPoint(0, 26), QPoint(119, 26), QPoint(4, 4)})
            QVERIFY(mask.contains(point));
        QCOMPARE(window->mask().boundingRect(), QRect(0, 0, 723, 563));
    }

    void windowIsSweptAway()
    {
        QElapsedTimer time;
        time.start();
        QList<int> areas = {area()};
        click("btnClose");
        QVERIFY(window->isVisible());
        while (window->isVisible() && !time.hasExpired(20'000)) {
            QTest::qWait(5);
            if (area() != areas.back())
                areas << area();
        }
        QVERIFY(!window->isVisible());
        QVERIFY2(time.elapsed() >= 880, qPrintable(QString::number(time.elapsed())));
        QVERIFY(areas.size() > 5);
        QVERIFY(areas.size() <= 18);
        QVERIFY(std::is_sorted(areas.rbegin(), areas.rend()));
        QVERIFY(boxes->seen().empty());
    }

    void eachTickCutsTwentyDegrees()
    {
        const auto isVisible = [this](double degrees) {
            const double angle = qDegreesToRadians(degrees);
            return window->mask().contains({qRound(362 + 200 * cos(angle)), qRound(282 - 200 * sin(angle))});
        };
        for (int angle = 30; angle <= 350; angle += 20) {
            QVERIFY(QMetaObject::invokeMethod(window.get(), "calculateRegion"));
            QVERIFY(!isVisible(1) && !isVisible(angle - 2) && isVisible(angle + 2));
        }
    }

    void secondRequestCutsTheSweepShort()
    {
        window->close();
        QVERIFY(window->isVisible());
        QTRY_VERIFY(sweeping());
        QVERIFY(window->close());
        QVERIFY(!window->isVisible());
    }

    void requestDuringAScanIsForgotten()
    {
        scriptedEngine().memoryScript = {scripted::run([this] {
            click("btnClose");
            click("btnClose");
            QVERIFY(window->isVisible());
        })};
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkScanMem");
        const int before = area();
        QTest::qWait(200);
        QCOMPARE(area(), before);
        QVERIFY(window->isVisible());
        QCOMPARE(boxes->seen().size(), 1U);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestFrame, 0, 0)
#include "tst_frame.moc"
