#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QMetaMethod>
#include <QStackedWidget>
#include <QTest>

/// What is to be seen of the window: its parts, their places and shapes.
class TestFrame : public MainWindowTest
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        scriptedEngine().setResult("GetQSAVInfo", -1);
        openWindow();
    }

    void cleanupTestCase() { closeWindow(); }

    /// The close button, the product line and both dates end at the title area's edge.
    void titleAreaFitsAndEndsFlush()
    {
        const QWidget* area = find<QWidget>("topWidget");
        const auto endsFlush = [&](const char* name) {
            const QRect place = find<QWidget>(name)->geometry();
            return place.right() == area->rect().right() && area->rect().contains(place);
        };
        for (const char* name : {"btnClose", "lblProductName", "lnkUpdateNow", "lblLastScan"})
            QVERIFY2(endsFlush(name), name);
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "21/11/2026 04:32\n");
        click("btnScan");
        QTRY_VERIFY(endsFlush("lnkLastScan"));
        // The other rows keep their places when the last one goes.
        const int above = find<QWidget>("lnkUpdateNow")->y();
        click("btnUpdate");
        QApplication::processEvents();
        QCOMPARE(find<QWidget>("lnkUpdateNow")->y(), above);
        click("btnScan");
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
        stack->setCurrentIndex(0);
    }

    void cornersAreRound()
    {
        const struct
        {
            QRegion mask;
            QList<QPoint> outside, inside;
        } shapes[] = {
            {window->mask(),
             {{0, 0}, {723, 0}, {0, 563}, {723, 563}},
             {{362, 0}, {0, 282}, {722, 282}, {362, 562}, {5, 5}}},
            // The title has corners below.
            {find<QLabel>("lblSelectedMenu")->mask(),
             {{0, 0}, {2, 1}, {119, 0}, {117, 1}},
             {{60, 0}, {0, 12}, {0, 26}, {119, 26}, {60, 26}, {4, 4}}},
        };
        for (const auto& [mask, outside, inside] : shapes) {
            for (const QPoint point : outside)
                QVERIFY(!mask.contains(point));
            for (const QPoint point : inside)
                QVERIFY(mask.contains(point));
        }
        QCOMPARE(window->mask().boundingRect(), QRect(0, 0, 723, 563));
    }

    void percentagesOfTheTitleAreCutTo99()
    {
        window->makeMenuLabelRound(300, 16);
        const QRegion cut = find<QLabel>("lblSelectedMenu")->mask();
        window->makeMenuLabelRound(99, 16);
        QCOMPARE(find<QLabel>("lblSelectedMenu")->mask(), cut);
        window->makeMenuLabelRound(16, 16);
        QVERIFY(find<QLabel>("lblSelectedMenu")->mask() != cut);
    }

    void backgroundIsTheHandle()
    {
        const QPoint start = window->pos();
        const auto dragTo = [this](QWidget* grip, Qt::MouseButton button, QPoint by) {
            QTest::mousePress(grip, button, {}, QPoint(3, 30));
            const QPointF target = grip->mapToGlobal(QPoint(3, 30) + by);
            QMouseEvent move(QEvent::MouseMove, grip->mapFromGlobal(target), target, Qt::NoButton, button,
                             {});
            QApplication::sendEvent(grip, &move);
            QTest::mouseRelease(grip, button, {}, grip->mapFromGlobal(target.toPoint()));
        };
        dragTo(window.get(), Qt::LeftButton, {40, -7});
        QCOMPARE(window->pos(), start + QPoint(40, -7));
        dragTo(window.get(), Qt::RightButton, {40, 40});
        dragTo(find<QWidget>("btnScan"), Qt::LeftButton, {40, 40});
        QCOMPARE(window->pos(), start + QPoint(40, -7));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestFrame, TEST_USER, TEST_GROUP)
#include "tst_frame.moc"
