#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QTest>

#include <atomic>

#include <unistd.h>

/// What the group of the process decides, whatever its user is. Run for four pairs of them.
class TestPrivileges : public MainWindowTest
{
    Q_OBJECT

    const bool mayAll = getgid() == 0;

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void schedulerIsForGroupZero()
    {
        const auto* button = find<QAbstractButton>("btnScheduler");
        QCOMPARE(button->isVisible(), mayAll);
        QCOMPARE(button->isEnabled(), mayAll);
    }

    void updateSettingsAreForGroupZero()
    {
        click("btnUpdate");
        QCOMPARE(find<QAbstractButton>("lnkUpdateSetting")->isEnabled(), mayAll);
        if (!mayAll)
            QVERIFY(!find<QAbstractButton>("lnkUpdateNow1")->isEnabled());
    }

    /// Here it is the user who counts.
    void dateLinkUpdatesForRoot()
    {
        if (getuid() != 0) {
            boxes->answer(VMessageBox::BTN_OK);
            click("lnkUpdateNow");
            QCOMPARE(boxes->texts(), QStringList("Login as root to download update."));
            return;
        }
        std::atomic<bool> ended = false;
        scriptedEngine().updateRun = [&ended](auto, auto) {
            while (!ended)
                QTest::qSleep(1);
            scriptedEngine().info.udate.tm_year = 127;
            return UPDATE_NO_LOCK;
        };
        bool closed = true;
        boxes->answer(VMessageBox::BTN_YES);
        boxes->handle([&](QWidget* dialog) {
            QCOMPARE(dialog->geometry().center(), window->geometry().center());
            closed = window->close();
            ended = true;
        });
        boxes->answer(VMessageBox::BTN_OK);
        click("lnkUpdateNow");
        QVERIFY(!closed);
        QCOMPARE(boxes->texts(), QStringList({"Should the virus signatures be updated now?", "VUpdateDialog",
                                              "Error getting update lock"}));
        QVERIFY(textOf("lnkUpdateNow").contains("2027"));
    }

    void globalSettingsAreForOthers()
    {
        QCOMPARE(find<QAbstractButton>("lnkGlobalScanConf")->isEnabled(), !mayAll);
    }

    /// Others who reach the page all the same see what it was built with.
    void updateSettingsAreReadForGroupZero()
    {
        scriptedEngine().clearJournal();
        QVERIFY(QMetaObject::invokeMethod(window.get(), "showUpdateSetting"));
        QCOMPARE(page(), int(VMainWidget::UpdateSettingPage));
        QCOMPARE(changes().contains("vUpdate::ReadConfiguration UpdateConf (null)"), mayAll);
    }

    /// One message each: root alone hands files over after a save, and no file of a user's is touched.
    void anybodySavesScanSettings()
    {
        click("lnkScanSetting");
        boxes->answer(VMessageBox::BTN_OK);
        click("btnSaveScanSetting");
        QCOMPARE(boxes->texts(), QStringList("Vardo setting saved successfully"));
        QVERIFY(commands().isEmpty());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestPrivileges, 0, 0)
#include "tst_privileges.moc"
