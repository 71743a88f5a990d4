#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QTest>

/// The page of the scan settings, between the engine's configuration and its controls.
class TestScanSettings : public MainWindowTest
{
    Q_OBJECT

    scripted::ScanOptions& saved = scriptedEngine().saved;

    QComboBox* action() const { return find<QComboBox>("cmbScanAction"); }

    void save()
    {
        boxes->answer(VMessageBox::BTN_OK);
        click("btnSaveScanSetting");
    }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void whatThePageCannotShowIsLost()
    {
        saved.action = 9; // shown as quarantine
        saved.scanOpts =
            SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_DIRS | SCANFLAG_MAX_DEPTH | SCANFLAG_MAX_SIZE;
        saved.extensions = "com exe";
        saved.memScan = 1;
        click("lnkScanSetting");
        QVERIFY(isOn("chkStartupScan"));
        click("chkStartupScan");
        save();
        QCOMPARE(int(saved.memScan), 0);
        QCOMPARE(saved.scanOpts, unsigned(SCANFLAG_NO_DISINFECT | SCANFLAG_EXCLUDE_EXTENSIONS));
        QCOMPARE(saved.extensions, "qst");
        QCOMPARE(saved.action, unsigned(SCANACT_QUARANTINE));
    }

    void logSettingsAreShownAndSaved()
    {
        const struct
        {
            unsigned int level;
            const char* button;
            unsigned int stored;
        } levels[] = {{0, "rdoLogNone", 1}, {2, "rdoLogInfected", 2}, {9, "rdoLogAll", 3}};
        saved.logLocation = "/srv/logs caf\xe9"; // whose text cannot show all of it
        for (const auto& [level, button, stored] : levels) {
            saved.logLevel = level;
            click("lnkScanSetting");
            QVERIFY2(isOn(button), button);
            save();
            QCOMPARE(saved.logLevel, stored);
            click("btnScan");
        }
        QCOMPARE(find<QLineEdit>("editLogLoc")->text(), QString::fromUtf8("/srv/logs caf\uFFFD"));
        QCOMPARE(saved.logLocation, "/srv/logs caf\xe9");
    }

    void logLocationIsChosen()
    {
        click("lnkScanSetting");
        boxes->handle([](QWidget* dialog) { qobject_cast<QDialog*>(dialog)->reject(); });
        click("btnBrowseLogLoc");
        click("btnCancelScanSetting"); // asks nothing: nothing was chosen
        click("lnkScanSetting");
        boxes->handle([](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), "Vardo log location");
            qobject_cast<QFileDialog*>(dialog)->setDirectory("/usr/share");
            static_cast<QDialog*>(dialog)->accept();
        });
        click("btnBrowseLogLoc");
        boxes->answer(VMessageBox::BTN_YES);
        boxes->answer(VMessageBox::BTN_OK);
        click("btnCancelScanSetting");
        QCOMPARE(saved.logLocation, "/usr/share");
    }

    void unreadableValuesHaveDefaults()
    {
        saved.logLocation = "/srv/logs";
        saved.logLevel = LOGLEVEL_ALL;
        for (unsigned int id : {SCANOPT_LOGLOCATION, SCANOPT_LOGLEVEL, SCANOPT_MEMSCAN})
            scriptedEngine().setResult("GetOption " + std::to_string(id), -1);
        click("lnkScanSetting");
        QCOMPARE(find<QLineEdit>("editLogLoc")->text(), "/var/Quillstone/var/log");
        QVERIFY(isOn("rdoLogInfected") && isOn("chkStartupScan"));

        // Without these the page stays as it is.
        saved.scanOpts = SCANFLAG_NO_MAILS;
        saved.action = SCANACT_DELETE;
        for (const char* call : {"ReadConfiguration", "GetOption 1", "GetOption 11"}) {
            click("btnScan");
            scriptedEngine().setResult(call, -1);
            click("lnkScanSetting");
            QCOMPARE(page(), int(VMainWidget::ScanSettingPage));
            QVERIFY(isOn("chkMail") && action()->currentIndex() == 0);
            scriptedEngine().setResult(call, 0);
        }
    }

    void everyControlCountsAsAChange()
    {
        for (const char* control :
             {"chkArchive", "chkCrossFS", "chkHeuristic", "chkMail", "chkRecursive", "chkPack",
              "chkStartupScan", "chkSymLink", "rdoLogAll", "rdoLogNone", "cmbScanAction"}) {
            click("lnkScanSetting");
            if (QByteArray(control) == "cmbScanAction")
                emit action()->activated(action()->currentIndex()); // the entry that is shown already
            else
                click(control);
            boxes->answer(VMessageBox::BTN_NO);
            click("btnCancelScanSetting");
            QCOMPARE(page(), int(VMainWidget::ScanPage));
        }
    }

    void globalSettingsMayFail()
    {
        const char read[] = "ReadConfiguration /opt/Quillstone/etc/vardo/vardo.conf";
        for (const char* failing : {read, "SaveConfiguration"}) {
            scriptedEngine().reset();
            scriptedEngine().setResult(failing, -1);
            boxes->answer(VMessageBox::BTN_OK);
            // Group 0 has no use for it, so the link is off there.
            QVERIFY(QMetaObject::invokeMethod(window.get(), "loadGlobalSettings"));
            QCOMPARE(boxes->texts().last(), "Global settings reloading failed.");
            QCOMPARE(changes().front(), read);
            QCOMPARE(changes().contains("SaveConfiguration /none"), failing != read);
            QVERIFY(!changes().contains("ReadConfiguration (null)")); // the page stays as it was
        }
    }

    void withoutEngineNothingIsSaved()
    {
        window->setValues(qApp, "/none", nullptr);
        click("lnkScanSetting");
        QCOMPARE(page(), int(VMainWidget::ScanPage));
        boxes->answer(VMessageBox::BTN_OK);
        QVERIFY(window->slotSaveScanSettings());
        QCOMPARE(boxes->texts(), QStringList("Invalid Vardo parameter."));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanSettings, TEST_USER, TEST_GROUP)
#include "tst_scansettings.moc"
