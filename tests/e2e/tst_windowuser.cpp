#include "base/paths.h"
#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <filesystem>

#include <sys/stat.h>

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

} // namespace

/// Whose settings are changed: an ordinary user works on a copy of the shared ones, root on these.
class TestWindowUser : public QObject
{
    Q_OBJECT

  private slots:
    void settingsAreTheUsersOwn()
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

    /// But nothing that a member has put a link to.
    void rootSavesTheSharedOnes()
    {
        for (const bool planted : {false, true}) {
            product::install("[Scan]\nScanMails = yes\n");
            if (planted) {
                std::filesystem::rename(paths::vardoConf, precious);
                std::filesystem::create_symlink(precious, paths::vardoConf);
            }
            visitOptions(
                [planted](RealWindow& window) {
                    QVERIFY(window.click("VMainWidget/chkMail"));
                    QVERIFY(window.click("VMainWidget/btnSaveScanSetting"));
                    answer(window, planted ? "Error saving Vardo configuration. Try later"
                                           : "Vardo setting saved successfully");
                    QVERIFY(window.click("VMainWidget/btnClose"));
                },
                root);
            struct stat info = {};
            QCOMPARE(stat(paths::vardoConf, &info), 0);
            QCOMPARE(info.st_uid, planted ? 0 : qsconf);
            const bool changed = sandbox::readFile(paths::vardoConf) != "[Scan]\nScanMails = yes\n";
            QCOMPARE(changed, !planted);
        }
        QVERIFY(!std::filesystem::exists("/root/.vardo"));
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowUser)
#include "tst_windowuser.moc"
