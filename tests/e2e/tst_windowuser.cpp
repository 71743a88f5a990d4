#include "shell/paths.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <filesystem>

namespace {

constexpr sandbox::Ids user{1000, 1000};
constexpr char ownConf[] = "/home/tester/.vardo/vardo.conf";

/// Opens the options and does `work` there, which ends with closing the window.
void visitOptions(const std::function<void(RealWindow&)>& work)
{
    RealWindow window(user);
    QVERIFY(window.click("VMainWidget/lnkScanSetting"));
    QVERIFY(window.waitFor("VMainWidget/chkMail"));
    work(window);
    QCOMPARE(window.exitCode(), 0);
}

bool scansMails(RealWindow& window)
{
    return window.find("VMainWidget/chkMail").checked;
}

/// Answers the message box that says this.
void answer(RealWindow& window, const QString& message, const QString& button = "Ok")
{
    QVERIFY(window.waitFor("VMessageBox"));
    QCOMPARE(window.texts("VMessageBox"), QStringList(message));
    QVERIFY(window.click("VMessageBox/" + button));
    QVERIFY(window.waitForEnd("VMessageBox"));
}

} // namespace

/// An ordinary user, who works on a copy of the settings.
class TestWindowUser : public QObject
{
    Q_OBJECT

  private slots:
    void settingsAreTheUsersOwn();
    void copiedSettingsMeanTheSame();
};

void TestWindowUser::settingsAreTheUsersOwn()
{
    product::install("[Scan]\nScanMails = yes\n");
    const std::string shared = sandbox::readFile(paths::vardoConf);
    visitOptions([](RealWindow& window) {
        QVERIFY(scansMails(window));
        QVERIFY(window.click("VMainWidget/chkMail"));
        QVERIFY(window.click("VMainWidget/btnSaveScanSetting"));
        answer(window, "Vardo setting saved successfully");
        QVERIFY(window.click("VMainWidget/btnClose"));
    });
    visitOptions([](RealWindow& window) {
        QVERIFY(!scansMails(window));
        QVERIFY(window.click("VMainWidget/lnkGlobalScanConf"));
        answer(window, "Global settings reloaded successfully");
        QVERIFY(scansMails(window));
        QVERIFY(window.click("VMainWidget/btnClose"));
        // The page has changed, though not by the user.
        answer(window, "Do you want to save the changes?", "&No");
    });
    visitOptions([](RealWindow& window) {
        QVERIFY(scansMails(window));
        QVERIFY(window.click("VMainWidget/btnClose"));
    });
    QCOMPARE(sandbox::readFile(paths::vardoConf), shared);
    QVERIFY(sandbox::readFile(ownConf).find("/home/tester/.vardo/qsav.pid") != std::string::npos);
}

void TestWindowUser::copiedSettingsMeanTheSame()
{
    // The copy has no quotes any more, and escapes in it.
    product::install("[Scan]\nAction = \"log\"\nSkipDirs = yes\n"
                     "ExcludeDirs = \"/home/tester/left (\\\\out);/none # such\"\n[Log]\nLevel = all\n");
    for (const char* name : {"left (\\out)", "kept"}) {
        const std::filesystem::path directory = std::filesystem::path("/home/tester") / name;
        std::filesystem::create_directory(directory);
        sandbox::writeFile(directory / "bad", ServiceHome::marker().toStdString());
    }
    RealWindow window(user);
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.waitFor("VScanStatisticsDialog"));
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
    QVERIFY(sandbox::readFile(ownConf).find("ExcludeDirs =/home/tester/left \\(\\\\out);/none # such") !=
            std::string::npos);
    const QByteArray log = product::onlyLog();
    QVERIFY2(log.contains("/home/tester/kept/bad"), log.constData());
    QVERIFY2(!log.contains("left (\\out)/bad"), log.constData());
}

VARDO_WINDOW_TEST_MAIN(TestWindowUser)
#include "tst_windowuser.moc"
