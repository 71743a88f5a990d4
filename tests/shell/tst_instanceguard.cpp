#include "installation/instanceguard.h"

#include "base/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <array>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool exists(const char* path)
{
    struct stat status;
    return lstat(path, &status) == 0;
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

} // namespace

class TestInstanceGuard : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void holdsTheNumberAlone()
    {
        QVERIFY(claims());
        QCOMPARE(sandbox::readFile(paths::guardFile), std::to_string(getpid()));
        QVERIFY(isRunning());
        remPIDFile();
        QVERIFY(!exists(paths::guardFile));
        QCOMPARE(std::distance(std::filesystem::directory_iterator("/opt/Quillstone/var/run"), {}), 0);
    }

    void anyLiveProcessStopsTheStart()
    {
        sandbox::writeFile(paths::guardFile, "+1");
        QVERIFY(isRunning());
        sandbox::writeFile(paths::guardFile, " 1\n");
        QVERIFY(isRunning());
        QVERIFY(createPIDFile() < 0); // it was faster
        remPIDFile();
        QCOMPARE(sandbox::readFile(paths::guardFile), std::string(" 1\n"));
    }

    void staleFilesAreRemoved_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("dead") << QByteArray::fromStdString(deadNumber());
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no number") << QByteArray("one");
        QTest::newRow("too long") << QByteArray("12345678901234567890");
        QTest::newRow("negative") << QByteArray("-1");
    }

    void staleFilesAreRemoved()
    {
        QFETCH(QByteArray, content);
        sandbox::writeFile(paths::guardFile, content.toStdString());
        QVERIFY(!isRunning());
        QVERIFY(!exists(paths::guardFile));
    }

    void nothingIsFollowedOrWaitedFor()
    {
        const char precious[] = "/opt/Quillstone/etc/precious";
        sandbox::writeFile(precious, "kept");
        QCOMPARE(symlink(precious, paths::guardFile), 0);
        QVERIFY(claims());
        QVERIFY(!std::filesystem::is_symlink(paths::guardFile));
        unlink(paths::guardFile);
        mkfifo(paths::guardFile, 0666);
        QVERIFY(claims());
        unlink(paths::guardFile);

        // Planted between the two steps:
        QCOMPARE(symlink(precious, paths::guardFile), 0);
        QVERIFY(createPIDFile() < 0);
        unlink(paths::guardFile);
        QCOMPARE(link(precious, paths::guardFile), 0);
        QVERIFY(createPIDFile() < 0);
        QCOMPARE(sandbox::readFile(precious), std::string("kept"));
    }

    void fileInALockedDirectoryIsWritten()
    {
        sandbox::writeFile(paths::guardFile, deadNumber() + "0000");
        chmod("/opt/Quillstone/var/run", 0555);
        QVERIFY(claims());
        QCOMPARE(sandbox::readFile(paths::guardFile), std::to_string(getpid()));
        chmod(paths::guardFile, 0444);
        QVERIFY(createPIDFile() < 0);
        chmod("/opt/Quillstone/var/run", 0755);
    }

    void missingDirectoryFails()
    {
        std::filesystem::remove_all("/opt/Quillstone/var/run");
        QVERIFY(!isRunning());
        QVERIFY(createPIDFile() < 0);
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
};

VARDO_SANDBOX_TEST_MAIN(TestInstanceGuard, 1000, 1000)
#include "tst_instanceguard.moc"
