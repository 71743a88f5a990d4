#include "base/paths.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr sandbox::Ids root{0, 0};
constexpr sandbox::Ids user{1000, 1000};
constexpr uid_t qsconf = 990;
constexpr char ownConf[] = "/home/tester/.vardo/vardo.conf";
constexpr char precious[] = "/opt/Quillstone/etc/precious";

/// Opens the options and does `work` there, which ends with closing the window.
void visitOptions(const std::function<void(RealWindow&)>& work, sandbox::Ids who = user)
{
    RealWindow window(who);
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

/// Root leaves mails out and saves, is told `message`, and closes the window.
void rootSaves(const QString& message)
{
    visitOptions(
        [&message](RealWindow& window) {
            QVERIFY(window.click("VMainWidget/chkMail"));
            QVERIFY(window.click("VMainWidget/btnSaveScanSetting"));
            answer(window, message);
            QVERIFY(window.click("VMainWidget/btnClose"));
        },
        root);
}

} // namespace

/// Whose settings are changed: an ordinary user works on a copy of the shared ones, root on these.
class TestWindowUser : public QObject
{
    Q_OBJECT

  private slots:
    void settingsAreTheUsersOwn();
    void copiedSettingsMeanTheSame();
    void rootSavesTheSharedOnes();
    void rootFollowsNoPlantedLink();
    void rootRunsNoProgramOfAMember();
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

void TestWindowUser::rootSavesTheSharedOnes()
{
    product::install("[Scan]\nScanMails = yes\n");
    rootSaves("Vardo setting saved successfully");
    struct stat info = {};
    QCOMPARE(stat(paths::vardoConf, &info), 0);
    QCOMPARE(info.st_uid, qsconf);
    QVERIFY(sandbox::readFile(paths::vardoConf).find("ScanMails = \"no\"") != std::string::npos);
    QVERIFY(!std::filesystem::exists("/root/.vardo"));
}

void TestWindowUser::rootFollowsNoPlantedLink()
{
    product::install("[Scan]\nScanMails = yes\n");
    std::filesystem::rename(paths::vardoConf, precious);
    std::filesystem::create_symlink(precious, paths::vardoConf);
    rootSaves("Error saving Vardo configuration. Try later");
    struct stat info = {};
    QCOMPARE(stat(precious, &info), 0);
    QCOMPARE(info.st_uid, 0U);
    QCOMPARE(sandbox::readFile(precious), "[Scan]\nScanMails = yes\n");
}

void TestWindowUser::rootRunsNoProgramOfAMember()
{
    product::install("[Config]\nBrowsers = /opt/Quillstone/etc/browser\n");
    const char program[] = "/opt/Quillstone/etc/browser";
    sandbox::writeFile(program, "#!/bin/sh\n");
    QCOMPARE(chmod(program, 0755), 0);
    QCOMPARE(chown(program, user.user, user.group), 0);
    RealWindow window(root);
    QVERIFY(window.click("VMainWidget/lnkFeedback"));
    QVERIFY(window.waitFor("VMessageBox"));
    QVERIFY(window.texts("VMessageBox").join("").startsWith("Error showing pages."));
}

VARDO_WINDOW_TEST_MAIN(TestWindowUser)
#include "tst_windowuser.moc"
