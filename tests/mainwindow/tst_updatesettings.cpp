#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLineEdit>
#include <QSpinBox>
#include <QTest>
#include <QTimeEdit>

#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path crontab = "/opt/Quillstone/etc/qsavupdate";
constexpr char saved[] = "Vardo Update setting saved successfully";
constexpr char failed[] = "Error saving update configuration";

} // namespace

/// The page of the update settings, between the engine's configuration, its controls and cron.
class TestUpdateSettings : public MainWindowTest
{
    Q_OBJECT

    scripted::UpdateOptions& update = scriptedEngine().updateSaved;
    scripted::ScanOptions& scan = scriptedEngine().saved;

    int valueOf(const char* spin) const { return find<QSpinBox>(spin)->value(); }
    bool enabled(const char* name) const { return find<QWidget>(name)->isEnabled(); }
    QLineEdit* entry(const char* name) const { return find<QLineEdit>(name); }

    void open()
    {
        click("btnUpdate");
        click("lnkUpdateSetting");
        QCOMPARE(page(), int(VMainWidget::UpdateSettingPage));
    }

    /// Saves and closes the box that comes up.
    void save()
    {
        boxes->answer(VMessageBox::BTN_OK);
        click("btnSaveUpdateSetting");
    }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void settingsAreShown()
    {
        update = {1, "10.1.2.3", 8080, 1, "user", "secret", "server", 1, 44, 5, 1, 23, 7};
        scan.alert = 1;
        scan.alertDays = 30;
        open();
        for (const auto& [spin, value] : {std::pair{"spinTimeOut", 44}, {"spinRetry", 5}, {"spinDays", 30}})
            QCOMPARE(valueOf(spin), value);
        for (const char* box : {"chkHttps", "chkProxy", "chkProxyAuth", "chkUpdate", "chkDefAlert"})
            QVERIFY2(isOn(box), box);
        for (const auto& [name, text] : {std::pair{"txtProxyServer", "10.1.2.3"},
                                         {"txtProxyPort", "8080"},
                                         {"txtProxyUser", "user"},
                                         {"txtProxyPass", "secret"}})
            QCOMPARE(entry(name)->text(), text);
        QCOMPARE(entry("txtProxyPass")->echoMode(), QLineEdit::Password);
        QCOMPARE(find<QTimeEdit>("updateTime")->time(), QTime(23, 7));
        // Filling the page is no change.
        click("btnUpdate");
        QVERIFY(boxes->seen().empty());

        update = {};
        scan.alert = 0;
        open();
        for (const char* box : {"chkHttps", "chkProxy", "chkProxyAuth", "chkUpdate", "chkDefAlert"})
            QVERIFY2(!isOn(box), box);
        QCOMPARE(entry("txtProxyPort")->text(), "");
        for (const char* name : {"updateTime", "spinDays", "txtProxyServer", "txtProxyPort", "chkProxyAuth",
                                 "grpProxyAuth", "lblIP", "lblPort"})
            QVERIFY2(!enabled(name), name);
    }

    void unreadableSettingsLeaveThePage()
    {
        update.timeOut = 44;
        for (const char* call :
             {"vUpdate::ReadConfiguration", "ReadConfiguration", "vUpdate::GetOption 10"}) {
            scriptedEngine().setResult(call, -1);
            open();
            QCOMPARE(valueOf("spinTimeOut"), 15);
            scriptedEngine().setResult(call, 0);
        }
        scriptedEngine().setResult("vUpdate::GetOption 12", -1);
        update.noOfRetry = 4;
        open();
        QCOMPARE(valueOf("spinTimeOut"), 15);
        QCOMPARE(valueOf("spinRetry"), 4);
    }

    void boxesEnableTheirEntries()
    {
        open();
        click("chkUpdate");
        QVERIFY(enabled("updateTime"));
        click("chkDefAlert");
        QVERIFY(!enabled("spinDays"));
        click("chkProxy");
        for (const char* name : {"txtProxyServer", "txtProxyPort", "chkProxyAuth", "lblIP", "lblPort"})
            QVERIFY2(enabled(name), name);
        QVERIFY(enabled("grpProxyAuth")); // though the box of its own is off
        click("chkProxyAuth");
        click("chkProxyAuth");
        QVERIFY(!enabled("grpProxyAuth"));
    }

    void everyControlCountsAsAChange()
    {
        using Change = std::function<void()>;
        const std::initializer_list<Change> all = {
            [&] { click("chkUpdate"); },
            [&] { click("chkDefAlert"); },
            [&] { click("chkHttps"); },
            [&] { click("chkProxy"); },
            [&] { find<QSpinBox>("spinDays")->stepUp(); },
            [&] { find<QSpinBox>("spinRetry")->stepUp(); },
            [&] { find<QSpinBox>("spinTimeOut")->stepUp(); },
            [&] { entry("txtProxyServer")->insert("1"); },
            [&] { entry("txtProxyPort")->insert("1"); },
            [&] { entry("txtProxyUser")->insert("1"); },
            [&] { entry("txtProxyPass")->insert("1"); },
            [&] { find<QTimeEdit>("updateTime")->setTime(QTime(1, 1)); },
        };
        for (const Change& change : all) {
            open();
            change();
            boxes->answer(VMessageBox::BTN_NO);
            click("btnCancelUpdateSetting");
            QCOMPARE(page(), int(VMainWidget::UpdatePage));
            QVERIFY(isOn("btnUpdate"));
        }
    }

    void settingsAreSaved()
    {
        update.proxyUser = "before";
        open();
        find<QSpinBox>("spinTimeOut")->setValue(20);
        find<QSpinBox>("spinRetry")->setValue(2);
        find<QSpinBox>("spinDays")->setValue(7);
        click("chkHttps");
        click("chkProxy");
        entry("txtProxyServer")->setText("10.9.8.7");
        entry("txtProxyPort")->setText("3128");
        entry("txtProxyUser")->setText("unused");
        save();
        QCOMPARE(boxes->texts(), QStringList(saved));
        QCOMPARE(int(update.timeOut), 20);
        QCOMPARE(int(update.noOfRetry), 2);
        QCOMPARE(int(update.useHttps), 1);
        QCOMPARE(int(update.useProxy), 1);
        QCOMPARE(update.proxyServer, "10.9.8.7");
        QCOMPARE(update.proxyPort, 3128U);
        QCOMPARE(update.proxyUser, "before"); // no authentication
        QCOMPARE(scan.alertDays, 7U);
        click("btnUpdate");
        QCOMPARE(boxes->seen().size(), 1U);

        // Without a proxy the values of the one before stay.
        open();
        click("chkProxy");
        entry("txtProxyServer")->setText("nonsense");
        save();
        QCOMPARE(int(update.useProxy), 0);
        QCOMPARE(update.proxyServer, "10.9.8.7");
    }

    void numberBeingTypedIsSaved()
    {
        open();
        auto* days = find<QSpinBox>("spinDays");
        days->setFocus();
        days->selectAll();
        QTest::keyClicks(days, "42");
        save();
        QCOMPARE(scan.alertDays, 42U);
    }

    void automaticUpdateIsACronJob()
    {
        update.updateHour = 1;
        open();
        click("chkUpdate");
        find<QTimeEdit>("updateTime")->setTime(QTime(9, 5));
        save();
        QCOMPARE(sandbox::readFile(crontab),
                 "5 9 * * * /opt/Quillstone/sbin/runasroot  /opt/Quillstone/usr/bin/updatenow 2>&1 "
                 "|tee -a /var/Quillstone/var/log/autoupdate.log\n");
        QCOMPARE(commands(),
                 QStringList({"runasroot /usr/bin/touch /opt/Quillstone/etc/qsavupdate",
                              "runasroot /bin/chown qsconf:qsconf /opt/Quillstone/etc/qsavupdate",
                              "runasroot /usr/bin/crontab /opt/Quillstone/etc/qsavupdate -u qsconf",
                              "runasroot /etc/init.d/cron restart"}));
        QCOMPARE(int(update.autoUpdate), 1);
        QCOMPARE(int(update.updateHour), 9);
        QCOMPARE(int(update.updateMinute), 5);

        // The other name of the script goes first; turned off, the job goes and its time stays.
        sandbox::writeFile("/etc/init.d/crond", "#!/bin/sh\n");
        fs::permissions("/etc/init.d/crond", fs::perms(0755));
        click("chkUpdate");
        save();
        QCOMPARE(commands().back(), "runasroot /etc/init.d/crond restart");
        QCOMPARE(sandbox::readFile(crontab), "");
        QVERIFY(fs::exists(crontab));
        QCOMPARE(int(update.autoUpdate), 0);
        QCOMPARE(int(update.updateHour), 9);
    }

    void plantedCrontabsAreRefused()
    {
        const fs::path victim = "/opt/Quillstone/etc/victim";
        sandbox::writeFile(victim, "precious\n");
        for (const bool symbolic : {true, false}) {
            symbolic ? fs::create_symlink(victim, crontab) : fs::create_hard_link(victim, crontab);
            open();
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
                       {"1.2.3.4", "80", "u", saved}};
        open();
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
            open();
            click("chkHttps");
            scriptedEngine().setResult(call, -1);
            boxes->answer(VMessageBox::BTN_YES);
            boxes->answer(VMessageBox::BTN_OK);
            click("lnkHelp");
            scriptedEngine().setResult(call, 0);
            QCOMPARE(boxes->texts().back(), failed);
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

VARDO_SANDBOX_TEST_MAIN(TestUpdateSettings, TEST_USER, TEST_GROUP)
#include "tst_updatesettings.moc"
