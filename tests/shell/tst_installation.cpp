#include "installation/installation.h"

#include "base/paths.h"
#include "installation/instanceguard.h"
#include "installation/userconf.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <array>
#include <csignal>
#include <cstdlib>
#include <memory>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char home[] = "/home/tester";
constexpr char ownDir[] = "/home/tester/.vardo";
constexpr char ownConf[] = "/home/tester/.vardo/vardo.conf";
constexpr char runDir[] = "/opt/Quillstone/var/run";
constexpr char precious[] = "/opt/Quillstone/etc/precious";

mode_t modeOf(const char* path)
{
    return static_cast<mode_t>(fs::status(path).permissions());
}

/// The id of a process that has ended.
std::string deadNumber()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    waitpid(child, nullptr, 0);
    return std::to_string(child);
}

bool claims()
{
    return !isRunning() && createPIDFile() == 0;
}

/// Starts that wait for `begin` to be closed, tell whether they got the guard, and live until they are
/// killed: the guard of a dead process would be free again.
[[noreturn]] void startAndStay(const std::array<int, 2>& begin, int results)
{
    close(begin[1]);
    char won = 0;
    while (read(begin[0], &won, 1) > 0)
        continue;
    won = claims() ? 1 : 0;
    if (write(results, &won, 1) == 1)
        pause();
    _exit(1);
}

std::string madeConf()
{
    const std::unique_ptr<char, decltype(&std::free)> path(createUserConf(), &std::free);
    return path ? path.get() : "(null)";
}

} // namespace

/// What the start asks of the installation: its kind, the guard against a second start, the user's settings.
class TestInstallation : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        chmod(home, 0755);
        sandbox::makeInstallation();
        umask(022);
    }

    void readsTheKindFromTheTokens()
    {
        for (const auto& [content, kind] : {std::pair<std::string, int>{"", -1},
                                            {"TIER-A", 0},
                                            {"TIER-B\n", -1},
                                            {"TIER-B MODULE-5 module-1 XTIER-A\n", -1},
                                            {"TIER-B MODULE-2 MODULE-4", 4},
                                            {"TIER-B\tMODULE-4\r\nMODULE-2\n", 2}, // the last one counts
                                            {"MODULE-3\nTIER-B\n", -1},
                                            {"TIER-B MODULE-3 TIER-A MODULE-2", 0},
                                            {std::string(100'000, 'x') + " TIER-A", -1}}) {
            sandbox::writeFile(paths::versionFile, content);
            QVERIFY2(get_Vardo_version() == kind, content.c_str());
        }
        chmod(paths::versionFile, 0);
        QCOMPARE(get_Vardo_version(), -1);
        unlink(paths::versionFile);
        QCOMPARE(get_Vardo_version(), -1);
        mkdir(paths::versionFile, 0755);
        QCOMPARE(get_Vardo_version(), -1);
        rmdir(paths::versionFile);
        mkfifo(paths::versionFile, 0644);
        QCOMPARE(get_Vardo_version(), -1);
    }

    void guardHoldsTheNumberAlone()
    {
        QVERIFY(claims());
        QCOMPARE(sandbox::readFile(paths::guardFile), std::to_string(getpid()));
        QVERIFY(isRunning());
        remPIDFile();
        QVERIFY(fs::is_empty(runDir));

        sandbox::writeFile(paths::guardFile, "+1");
        QVERIFY(isRunning());
        sandbox::writeFile(paths::guardFile, " 1\n"); // any live process stops the start
        QVERIFY(isRunning());
        QVERIFY(createPIDFile() < 0); // it was faster
        remPIDFile();
        QCOMPARE(sandbox::readFile(paths::guardFile), std::string(" 1\n"));

        for (const std::string& stale :
             {deadNumber(), std::string(), std::string("one"), std::string(20, '1'), std::string("-1")}) {
            sandbox::writeFile(paths::guardFile, stale);
            QVERIFY2(!isRunning(), stale.c_str());
            QVERIFY2(fs::is_empty(runDir), stale.c_str());
        }
    }

    void guardFollowsNothingAndWaitsForNothing()
    {
        sandbox::writeFile(precious, "kept");
        fs::create_symlink(precious, paths::guardFile);
        QVERIFY(claims());
        QVERIFY(!fs::is_symlink(paths::guardFile));
        unlink(paths::guardFile);
        mkfifo(paths::guardFile, 0666);
        QVERIFY(claims());
        unlink(paths::guardFile);

        // Planted between the two steps:
        fs::create_symlink(precious, paths::guardFile);
        QVERIFY(createPIDFile() < 0);
        unlink(paths::guardFile);
        fs::create_hard_link(precious, paths::guardFile);
        QVERIFY(createPIDFile() < 0);
        QCOMPARE(sandbox::readFile(precious), std::string("kept"));
    }

    void guardInALockedDirectoryIsWritten()
    {
        sandbox::writeFile(paths::guardFile, deadNumber() + "0000");
        chmod(runDir, 0555);
        QVERIFY(claims());
        QCOMPARE(sandbox::readFile(paths::guardFile), std::to_string(getpid()));
        chmod(paths::guardFile, 0444);
        QVERIFY(createPIDFile() < 0);
        chmod(runDir, 0755);
    }

    /// Of many starts at once over a stale file exactly one gets the guard.
    void oneOfManyWins()
    {
        for (int round = 0; round < 30; ++round) {
            sandbox::writeFile(paths::guardFile, "2147483647");
            std::array<int, 2> begin;
            std::array<int, 2> results;
            QVERIFY(pipe(begin.data()) == 0 && pipe(results.data()) == 0);
            std::array<pid_t, 8> starts;
            for (pid_t& start : starts) {
                start = fork();
                if (start == 0)
                    startAndStay(begin, results[1]);
            }
            close(begin[1]);
            int winners = 0;
            for (std::size_t i = 0; i < starts.size(); ++i) {
                char won = 0;
                QCOMPARE(read(results[0], &won, 1), ssize_t(1));
                winners += won;
            }
            for (const pid_t start : starts) {
                kill(start, SIGKILL);
                waitpid(start, nullptr, 0);
            }
            for (const int end : {begin[0], results[0], results[1]})
                close(end);
            QCOMPARE(winners, 1);
        }
    }

    void settingsAreJoinedFromTheTwoSharedFiles()
    {
        sandbox::writeFile(paths::qsavConf,
                           "[path]\nLocalSocketPath = /run/qsav\nAVSpidPATH = /run/qsav.pid\n"
                           "Signatures = /var/sig\n[Service]\nIdleMinutes = 5\n");
        sandbox::writeFile(paths::vardoConf, "[path]\nSignatures = /elsewhere\n"
                                             "[Scan]\nAction = \"ask (me)\"\n");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*END\n\n[Scan]\nAction =ask \\(me)\n\n[path]\n"
                                                         "AVSpidPATH =/home/tester/.vardo/qsav.pid\n"
                                                         "LocalSocketPath =/home/tester/.vardo/qsav\n"
                                                         "Signatures =/var/sig\n\n"));
        QCOMPARE(modeOf(ownDir), mode_t(0700));
        // The mode 0600 that the file is created with does not outlive the removal of the quotes.
        QCOMPARE(modeOf(ownConf), mode_t(0644));
        QVERIFY(!fs::exists("/home/tester/.vardo/.vardo.conf.tmp"));

        // Without the first file its paths are left out.
        fs::remove_all(ownDir);
        fs::remove(paths::qsavConf);
        sandbox::writeFile(paths::vardoConf, "[Scan]\nAction = log\n");
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*END\n\n[Scan]\nAction =log\n\n"));
    }

    /// No room for the content: the start fails. What was made is used as it stands from then on.
    void halfMadeSettingsAreUsedNextTime()
    {
        rlimit before;
        getrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit full{4, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        const std::string first = madeConf();
        setrlimit(RLIMIT_FSIZE, &before);
        QCOMPARE(first, std::string("(null)"));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*EN"));
        QCOMPARE(madeConf(), std::string(ownConf));
        QCOMPARE(sandbox::readFile(ownConf), std::string("#*EN"));
    }

    void unusableHomesFail()
    {
        const std::pair<const char*, std::function<void()>> rows[] = {
            {"closed", [] { chmod(home, 0500); }},
            {"closed with all in it", [] { fs::create_directory(ownDir), chmod(home, 0500); }},
            {"nothing can be found in it", [] { fs::create_directory(ownDir), chmod(ownDir, 0600); }},
            // Nothing is made at the end of a link.
            {"link", [] { fs::create_directory(ownDir), fs::create_symlink("/tmp/elsewhere", ownConf); }},
            {"link above", [] { fs::create_symlink("/tmp/elsewhere", ownDir); }},
            {"a file", [] { sandbox::writeFile(ownDir, "a file"); }},
        };
        for (const auto& [name, arrange] : rows) {
            init();
            arrange();
            QVERIFY2(madeConf() == "(null)", name);
        }
        QVERIFY(!fs::exists("/tmp/elsewhere"));
    }

    void quotesGoAtBothEndsOnly()
    {
        const std::string longest = "K=" + std::string(1020, 'v');
        const std::pair<std::string, std::string> rows[] = {
            {"    Key = \"value\"\n", "Key =value\n\n"},
            {"Key = \"\"\"\"\n", "Key =\n\n"},
            {"Key=\"\"a\"b\"\"\n", "Key=a\"b\n\n"},
            {"Key = \" a \"\n", "Key = a \n\n"},
            {"Key = \"a=\"b\"\"\n", "Key =a=\"b\n\n"}, // a second sign
            {"; a = \"b\"\n", "; a =b\n\n"},
            {"  = \"b\"\n", "= \"b\"\n\n"}, // no key
            {"  #*END \n\n [Scan] \n", "#*END\n\n[Scan]\n\n"},
            {"Key = \"a\\(b\\\\\"\n", "Key =a\\(b\\\\\n\n"}, // escapes stay
            {"Key = \"v\"", "Key =v\n"},
            {"", "\n"},
            {longest + "\nA=1\n", longest + "\nA=1\n\n"},
            {longest + "v\nA=1\n", longest + "\n"}, // ends the copy
        };
        for (const auto& [before, after] : rows) {
            sandbox::writeFile("/tmp/quoted.conf", before);
            QCOMPARE(removeConfQoutes("/tmp/quoted.conf"), 0);
            QCOMPARE(sandbox::readFile("/tmp/quoted.conf"), after);
        }
    }

    void failureLeavesTheQuotes()
    {
        QCOMPARE(removeConfQoutes(nullptr), -1);
        QCOMPARE(removeConfQoutes("/tmp/none.conf"), -1);
        fs::create_directory(ownDir);
        sandbox::writeFile(ownConf, "K = \"v\"\n");
        chmod(ownDir, 0500);
        QCOMPARE(removeConfQoutes(ownConf), -1);
        QCOMPARE(sandbox::readFile(ownConf), std::string("K = \"v\"\n"));
        chmod(ownDir, 0700);

        // A link in the place of the temporary file is not written through.
        sandbox::writeFile(precious, "kept");
        fs::create_symlink(precious, "/home/tester/.vardo/.vardo.conf.tmp");
        QCOMPARE(removeConfQoutes(ownConf), -1);
        QCOMPARE(sandbox::readFile(precious), std::string("kept"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestInstallation, 1000, 1000)
#include "tst_installation.moc"
