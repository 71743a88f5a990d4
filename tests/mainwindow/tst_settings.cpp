#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMetaProperty>
#include <QSpinBox>
#include <QTest>
#include <QTimeEdit>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr char scanPage[] = "lnkScanSetting";
constexpr char updatePage[] = "lnkUpdateSetting";
const fs::path crontab = "/opt/Quillstone/etc/qsavupdate";

} // namespace

/// The pages of the settings, between the engine's configuration and their controls. What the settings do
/// is the engine's.
class TestSettings : public MainWindowTest
{
    Q_OBJECT

    scripted::ScanOptions& scan = scriptedEngine().saved;
    scripted::UpdateOptions& update = scriptedEngine().updateSaved;

    void open(const char* link)
    {
        click(link == updatePage ? "btnUpdate" : "btnScan");
        click(link);
        QCOMPARE(page(),
                 int(link == updatePage ? VMainWidget::UpdateSettingPage : VMainWidget::ScanSettingPage));
    }

    /// Saves and closes the box that comes up.
    void save(const char* button = "btnSaveScanSetting")
    {
        boxes->answer(VMessageBox::BTN_OK);
        click(button);
    }
    void saveUpdate() { save("btnSaveUpdateSetting"); }

    QLineEdit* entry(const char* name) const { return find<QLineEdit>(name); }

    QString shown(const char* control) const
    {
        const auto* widget = find<QWidget>(control);
        return widget->metaObject()->userProperty().read(widget).toString();
    }

    void change(const char* control, const QString& value)
    {
        auto* widget = find<QWidget>(control);
        if (qobject_cast<QAbstractButton*>(widget)) {
            click(control);
        } else if (auto* number = qobject_cast<QSpinBox*>(widget)) {
            number->setFocus();
            number->selectAll();
            QTest::keyClicks(number, value); // and is still being typed
        } else {
            QVERIFY(widget->metaObject()->userProperty().write(widget, value));
        }
        if (auto* list = qobject_cast<QComboBox*>(widget))
            emit list->activated(list->currentIndex()); // counts even for the entry that is shown already
    }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    /// Each control shows what was saved, and a change of it is noticed and saved in its turn.
    void everyControlGoesToTheFileAndBack()
    {
        const auto bit = [this](unsigned int flag) { return (scan.scanOpts & flag) != 0; };
        const struct
        {
            const char* page;
            const char* control;
            const char* shown;
            const char* changed;
            std::function<QVariant()> saved;
        } rows[] = {
            {scanPage, "chkArchive", "true", "false", [&] { return !bit(SCANFLAG_NO_ARCHIVES); }},
            {scanPage, "chkCrossFS", "false", "true", [&] { return bit(SCANFLAG_CROSS_FS); }},
            {scanPage, "chkHeuristic", "true", "false", [&] { return !bit(SCANFLAG_NO_HEURISTIC); }},
            {scanPage, "chkMail", "true", "false", [&] { return !bit(SCANFLAG_NO_MAILS); }},
            {scanPage, "chkPack", "true", "false", [&] { return !bit(SCANFLAG_NO_PACKED); }},
            {scanPage, "chkRecursive", "true", "false", [&] { return !bit(SCANFLAG_NO_RECURSE); }},
            {scanPage, "chkSymLink", "false", "true", [&] { return bit(SCANFLAG_FOLLOW_SYMLINKS); }},
            {scanPage, "chkStartupScan", "false", "true", [&] { return scan.memScan == 1; }},
            {scanPage, "rdoLogAll", "false", "true", [&] { return scan.logLevel == LOGLEVEL_ALL; }},
            {scanPage, "rdoLogNone", "false", "true", [&] { return scan.logLevel == LOGLEVEL_MINIMUM; }},
            {scanPage, "cmbScanAction", "Delete", "Delete",
             [&] { return scan.action == SCANACT_DELETE ? "Delete" : ""; }},
            {updatePage, "chkUpdate", "true", "false", [&] { return update.autoUpdate == 1; }},
            {updatePage, "chkDefAlert", "true", "false", [&] { return scan.alert == 1; }},
            {updatePage, "chkHttps", "true", "false", [&] { return update.useHttps == 1; }},
            {updatePage, "chkProxy", "true", "false", [&] { return update.useProxy == 1; }},
            {updatePage, "chkProxyAuth", "true", "false", [&] { return update.proxyAuth == 1; }},
            {updatePage, "spinDays", "30", "7", [&] { return scan.alertDays; }},
            {updatePage, "spinRetry", "5", "2", [&] { return int(update.noOfRetry); }},
            {updatePage, "spinTimeOut", "44", "20", [&] { return int(update.timeOut); }},
            {updatePage, "txtProxyServer", "10.1.2.3", "10.9.8.7",
             [&] { return update.proxyServer.c_str(); }},
            {updatePage, "txtProxyPort", "8080", "3128", [&] { return update.proxyPort; }},
            {updatePage, "txtProxyUser", "user", "other", [&] { return update.proxyUser.c_str(); }},
            {updatePage, "txtProxyPass", "secret", "word", [&] { return update.proxyPass.c_str(); }},
            {updatePage, "updateTime", "23:07:00.000", "09:05:00.000",
             [&] { return QTime(update.updateHour, update.updateMinute); }},
        };
        for (const auto& row : rows) {
            scan = {};
            scan.action = SCANACT_DELETE;
            scan.alertDays = 30;
            update = {1, "10.1.2.3", 8080, 1, "user", "secret", "server", 1, 44, 5, 1, 23, 7};
            open(row.page);
            QCOMPARE(shown(row.control), row.shown);
            change(row.control, row.changed);
            boxes->answer(VMessageBox::BTN_YES);
            boxes->answer(VMessageBox::BTN_OK);
            click(row.page == updatePage ? "btnCancelUpdateSetting" : "btnCancelScanSetting");
            QVERIFY2(boxes->texts().back().endsWith("saved successfully"), row.control);
            QVERIFY2(row.saved().toString() == row.changed, row.control);
        }
        for (const char* link : {scanPage, updatePage})
            open(link); // a page that is only filled asks nothing
        QCOMPARE(entry("txtProxyPass")->echoMode(), QLineEdit::Password);
    }

    void actionsAreNamed()
    {
        const struct
        {
            const char* text;
            unsigned int action;
            bool disinfects;
        } actions[] = {
            {"Log only", SCANACT_LOG, false},
            {"Disinfect (if not possible, Log)", SCANACT_LOG, true},
            {"Disinfect (if not possible, delete file)", SCANACT_DELETE, true},
            {"Disinfect (if not possible, Quarantine file)", SCANACT_QUARANTINE, true},
            {"Disinfect (if not possible, Rename file)", SCANACT_RENAME, true},
            {"Disinfect (if not possible Prompt Action)", SCANACT_PROMPT, true},
            {"Delete", SCANACT_DELETE, false},
            {"Quarantine", SCANACT_QUARANTINE, false},
            {"Rename", SCANACT_RENAME, false},
            {"Ask user", SCANACT_PROMPT, false},
        };
        for (const auto& [text, action, disinfects] : actions) {
            open(scanPage);
            change("cmbScanAction", text);
            save();
            QVERIFY2(scan.action == action, text);
            QCOMPARE((scan.scanOpts & SCANFLAG_DISINFECT) != 0, disinfects);
            QCOMPARE(scan.actData, action == SCANACT_RENAME ? "qst" : "/var/Quillstone/var/quarantine/vardo");
            find<QComboBox>("cmbScanAction")->setCurrentIndex(0); // which is no change by the user
            open(scanPage);
            QCOMPARE(shown("cmbScanAction"), text);
        }
    }

    void whatThePageCannotShowIsLost()
    {
        scan.action = 9; // shown as quarantine
        scan.logLevel = 9;
        scan.logLocation = "/srv/logs caf\xe9"; // but this is kept, though its text cannot show all of it
        scan.scanOpts =
            SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_DIRS | SCANFLAG_MAX_DEPTH | SCANFLAG_MAX_SIZE;
        scan.extensions = "com exe";
        open(scanPage);
        QCOMPARE(shown("editLogLoc"), QString::fromUtf8("/srv/logs caf\uFFFD"));
        save();
        QCOMPARE(scan.scanOpts, unsigned(SCANFLAG_NO_DISINFECT | SCANFLAG_EXCLUDE_EXTENSIONS));
        QCOMPARE(scan.extensions, "qst");
        QCOMPARE(scan.action, unsigned(SCANACT_QUARANTINE));
        QCOMPARE(scan.logLevel, unsigned(LOGLEVEL_ALL));
        QCOMPARE(scan.logLocation, "/srv/logs caf\xe9");
    }

    void logLocationIsChosen()
    {
        open(scanPage);
        boxes->handle([](QWidget* dialog) { qobject_cast<QDialog*>(dialog)->reject(); });
        click("btnBrowseLogLoc");
        click("btnCancelScanSetting"); // asks nothing: nothing was chosen
        open(scanPage);
        boxes->handle([](QWidget* dialog) {
            QCOMPARE(dialog->windowTitle(), "Vardo log location");
            qobject_cast<QFileDialog*>(dialog)->setDirectory("/usr/share");
            static_cast<QDialog*>(dialog)->accept();
        });
        click("btnBrowseLogLoc");
        boxes->answer(VMessageBox::BTN_YES);
        boxes->answer(VMessageBox::BTN_OK);
        click("btnCancelScanSetting");
        QCOMPARE(scan.logLocation, "/usr/share");
        // What the engine refuses has not been saved.
        open(scanPage);
        scriptedEngine().setResult("SetOption " + std::to_string(SCANOPT_LOGLOCATION), -1);
        boxes->answer(VMessageBox::BTN_OK);
        click("btnSaveScanSetting");
        QVERIFY(boxes->texts().back().startsWith("Error saving"));
    }

    void unreadableValuesHaveDefaultsOrLeaveThePage()
    {
        const auto fails = [](const std::string& call, int result = -1) {
            scriptedEngine().setResult(call, result);
        };
        scan.logLocation = "/srv/logs";
        scan.logLevel = LOGLEVEL_ALL;
        for (const unsigned int id : {SCANOPT_LOGLOCATION, SCANOPT_LOGLEVEL, SCANOPT_MEMSCAN})
            fails("GetOption " + std::to_string(id));
        open(scanPage);
        QCOMPARE(shown("editLogLoc"), "/var/Quillstone/var/log");
        QVERIFY(isOn("rdoLogInfected") && isOn("chkStartupScan"));

        scan.scanOpts = SCANFLAG_NO_MAILS;
        update.timeOut = 44;
        for (const auto& [link, call] : {std::pair{scanPage, "ReadConfiguration"},
                                         {scanPage, "GetOption 1"},
                                         {scanPage, "GetOption 11"},
                                         {updatePage, "vUpdate::ReadConfiguration"},
                                         {updatePage, "ReadConfiguration"},
                                         {updatePage, "vUpdate::GetOption 10"}}) {
            fails(call);
            open(link);
            QVERIFY2(isOn("chkMail") && shown("spinTimeOut") == "15", call);
            fails(call, 0);
        }
    }

    void boxesEnableTheirEntries()
    {
        scan.alert = 0;
        open(updatePage);
        QCOMPARE(entry("txtProxyPort")->text(), ""); // no port is 0
        for (const auto& [box, entries] :
             {std::pair{"chkUpdate", QByteArrayList{"updateTime"}},
              {"chkDefAlert", {"spinDays"}},
              // The last one though the box of its own is off.
              {"chkProxy",
               {"txtProxyServer", "txtProxyPort", "chkProxyAuth", "lblIP", "lblPort", "grpProxyAuth"}}}) {
            for (const bool on : {false, true}) {
                for (const QByteArray& name : entries)
                    QVERIFY2(find<QWidget>(name)->isEnabled() == on, name);
                if (!on)
                    click(box);
            }
        }
        click("chkProxyAuth");
        click("chkProxyAuth");
        QVERIFY(!find<QWidget>("grpProxyAuth")->isEnabled());
    }

    void unusedValuesStayAsTheyAre()
    {
        update.proxyServer = "10.9.8.7";
        update.proxyUser = "before";
        open(updatePage);
        click("chkProxy");
        entry("txtProxyUser")->setText("unused"); // no authentication
        entry("txtProxyPort")->setText("3128");
        saveUpdate();
        QCOMPARE(update.proxyPort, 3128U);
        QCOMPARE(update.proxyUser, "before");
        open(updatePage);
        click("chkProxy");
        entry("txtProxyServer")->setText("nonsense");
        saveUpdate();
        QCOMPARE(int(update.useProxy), 0);
        QCOMPARE(update.proxyServer, "10.9.8.7");
    }

    void automaticUpdateIsACronJob()
    {
        update.updateHour = 1;
        open(updatePage);
        click("chkUpdate");
        find<QTimeEdit>("updateTime")->setTime(QTime(9, 5));
        saveUpdate();
        QCOMPARE(sandbox::readFile(crontab),
                 "5 9 * * * /opt/Quillstone/sbin/runasroot  /opt/Quillstone/usr/bin/updatenow 2>&1 "
                 "|tee -a /var/Quillstone/var/log/autoupdate.log\n");
        QCOMPARE(commands(),
                 QStringList({"runasroot /usr/bin/touch /opt/Quillstone/etc/qsavupdate",
                              "runasroot /bin/chown qsconf:qsconf /opt/Quillstone/etc/qsavupdate",
                              "runasroot /usr/bin/crontab /opt/Quillstone/etc/qsavupdate -u qsconf",
                              "runasroot /etc/init.d/cron restart"}));

        // The other name of the script goes first; turned off, the job goes and its time stays.
        sandbox::writeFile("/etc/init.d/crond", "#!/bin/sh\n");
        fs::permissions("/etc/init.d/crond", fs::perms(0755));
        click("chkUpdate");
        saveUpdate();
        QCOMPARE(commands().back(), "runasroot /etc/init.d/crond restart");
        QCOMPARE(sandbox::readFile(crontab), "");
        QVERIFY(fs::exists(crontab));
        QCOMPARE(int(update.updateHour), 9);
    }

    void plantedCrontabsAreRefused()
    {
        const fs::path victim = "/opt/Quillstone/etc/victim";
        sandbox::writeFile(victim, "precious\n");
        for (const bool symbolic : {true, false}) {
            symbolic ? fs::create_symlink(victim, crontab) : fs::create_hard_link(victim, crontab);
            open(updatePage);
            click("chkUpdate");
            click("btnSaveUpdateSetting"); // given up in silence
            QCOMPARE(sandbox::readFile(victim), "precious\n");
            QVERIFY(commands().isEmpty());
            QVERIFY(!changes().contains("vUpdate::SaveConfiguration (null)"));
            fs::remove(crontab);
            // The changes wait.
            boxes->answer(VMessageBox::BTN_NO);
            click("btnCancelUpdateSetting");
        }
    }

    void badProxiesAreRefused()
    {
        const struct
        {
            const char* server;
            const char* port;
            const char* user;
            const char* message;
        } proxies[] = {{"host", "80", "u", "Invalid proxy settings"},
                       {"1.2.3.4", "0", "u", "Invalid proxy settings"},
                       {"1.2.3.4", "80", "-u", "Invalid proxy authentication settings"},
                       {"1.2.3.4", "80", "u", "Vardo Update setting saved successfully"}};
        open(updatePage);
        click("chkProxy");
        click("chkProxyAuth");
        for (const auto& proxy : proxies) {
            QVERIFY(!fs::exists(crontab));
            QVERIFY(!changes().contains("vUpdate::SetOption 4"));
            QCOMPARE(page(), int(VMainWidget::UpdateSettingPage));
            entry("txtProxyServer")->setText(proxy.server);
            entry("txtProxyPort")->setText(proxy.port);
            entry("txtProxyUser")->clear(); // a change, whatever comes
            entry("txtProxyUser")->setText(proxy.user);
            boxes->answer(VMessageBox::BTN_YES);
            boxes->answer(VMessageBox::BTN_OK);
            click("btnScan");
            QCOMPARE(boxes->texts().back(), proxy.message);
        }
        QVERIFY(fs::exists(crontab));
    }

    void failuresAreTold()
    {
        for (const auto& [call, leaves] :
             {std::pair{"vUpdate::SaveConfiguration", false}, {"SaveConfiguration", true}}) {
            open(updatePage);
            click("chkHttps");
            scriptedEngine().setResult(call, -1);
            boxes->answer(VMessageBox::BTN_YES);
            boxes->answer(VMessageBox::BTN_OK);
            click("lnkHelp");
            scriptedEngine().setResult(call, 0);
            QCOMPARE(boxes->texts().back(), "Error saving update configuration");
            QCOMPARE(page() == VMainWidget::HelpPage, leaves);
        }
        QCOMPARE(commands().size(), 8); // the rest has been done all the same
    }

    void entriesAreChecked()
    {
        const std::string longest(64, 'a'), tooLong(65, 'a');
        const struct
        {
            bool (*isValid)(const char*);
            std::vector<const char*> good, bad;
        } entries[] = {
            {VMainWidget::isValid_IP,
             {"1.2.3.4", "255.255.255.255", "1.0.0.0", "1..2.3.4", ".1.2.3.4.", "1.2.3.4.300",
              "1.2.3.4.256.7", "001.2.3.4"},
             {"", ".", "0.1.2.3", "1.2.3", "1.2.3.256", "1.2.3.4.5", "a.b.c.d", "1.2.3.-4", "1.2.3.4 ",
              "1.2.3.99999999999999999999", nullptr}},
            {VMainWidget::isValidPort,
             {"1", "65535", "0080"},
             {"", "0", "65536", "-1", "8o", " 80", "99999999999999999999"}},
            {VMainWidget::isValidProxyAuth,
             {"u", "user1", "a.b.c", "a.b-c_d", " padded ", longest.c_str()},
             {"", " ", ".u", "u.", "-u", "u-", "_u", "u_", "a-b.c", "a.-b", "a b", "caf\xc3\xa9",
              tooLong.c_str(), nullptr}},
        };
        for (const auto& [isValid, good, bad] : entries) {
            for (const char* text : good)
                QVERIFY2(isValid(text), text);
            for (const char* text : bad)
                QVERIFY2(!isValid(text), text);
        }
    }
};

VARDO_SANDBOX_TEST_MAIN(TestSettings, 0, 0)
#include "tst_settings.moc"
