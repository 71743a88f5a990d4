#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QtMath>

using namespace scripted;

/// What happens between the wish to close the window and its end.
class TestCloseSequence : public MainWindowTest
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
        scriptedEngine().memoryScript = {run([this] {
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

    void changesAreSettledFirst_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<int>("result");
        QTest::addColumn<bool>("closes");
        QTest::newRow("saved") << int(VMessageBox::BTN_YES) << 0 << true;
        QTest::newRow("not saved") << int(VMessageBox::BTN_YES) << -1 << false;
        QTest::newRow("given up") << int(VMessageBox::BTN_NO) << 0 << true;
    }

    void changesAreSettledFirst()
    {
        QFETCH(int, answer);
        QFETCH(int, result);
        QFETCH(bool, closes);
        scriptedEngine().setResult("SaveConfiguration", result);
        click("lnkScanSetting");
        click("chkMail");
        scriptedEngine().clearJournal();
        boxes->answer(answer);
        if (answer == VMessageBox::BTN_YES)
            boxes->answer(VMessageBox::BTN_OK);
        click("btnClose");
        QCOMPARE(boxes->texts().front(), "Do you want to save the changes?");
        QCOMPARE(changes().contains("SaveConfiguration (null)"), answer == VMessageBox::BTN_YES);
        if (!closes) {
            QTest::qWait(150);
            QVERIFY(!sweeping());
            // The changes are lost: nothing is asked again.
            click("btnClose");
        }
        QTRY_VERIFY(sweeping());
        QTRY_VERIFY(!window->isVisible());
        QCOMPARE(boxes->seen().size(), answer == VMessageBox::BTN_YES ? 2U : 1U);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestCloseSequence, TEST_USER, TEST_GROUP)
#include "tst_closesequence.moc"
