#include "shell/instanceguard.h"

#include "shell/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <array>
#include <utility>

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

/// A pipe whose reading ends wait until the test closes the writing end.
class Gate
{
  public:
    Gate() { opened_ = pipe(ends_.data()) == 0; }
    ~Gate()
    {
        open();
        close(ends_[0]);
    }
    void open()
    {
        if (std::exchange(opened_, false))
            close(ends_[1]);
    }
    /// In a child.
    void wait()
    {
        open();
        char byte;
        while (read(ends_[0], &byte, 1) > 0)
            continue;
    }

  private:
    std::array<int, 2> ends_;
    bool opened_ = false;
};

/// Tells whether this process got the guard, and lives until all have told: the guard of a dead process
/// would be free again.
[[noreturn]] void startAndStay(Gate& begin, int results, Gate& finish)
{
    begin.wait();
    const char won = claims() ? 1 : 0;
    const bool told = write(results, &won, 1) == 1;
    finish.wait();
    _exit(told ? 0 : 1);
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
        sandbox::writeFile(paths::guardFile, " 1\n");
        QVERIFY(isRunning());
        remPIDFile();
        QVERIFY(exists(paths::guardFile));
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
        QCOMPARE(sandbox::readFile(precious), std::string("kept"));
        QVERIFY(std::filesystem::is_regular_file(std::filesystem::symlink_status(paths::guardFile)));

        unlink(paths::guardFile);
        mkfifo(paths::guardFile, 0666);
        QVERIFY(claims());
    }

    void plantedLinkBetweenTheStepsIsRefused()
    {
        const char precious[] = "/opt/Quillstone/etc/precious";
        sandbox::writeFile(precious, "kept");
        QCOMPARE(symlink(precious, paths::guardFile), 0);
        QVERIFY(createPIDFile() < 0);
        unlink(paths::guardFile);
        QCOMPARE(link(precious, paths::guardFile), 0);
        QVERIFY(createPIDFile() < 0);
        QCOMPARE(sandbox::readFile(precious), std::string("kept"));
    }

    void fasterInstanceKeepsItsGuard()
    {
        QVERIFY(!isRunning());
        sandbox::writeFile(paths::guardFile, "1");
        QVERIFY(createPIDFile() < 0);
        QCOMPARE(sandbox::readFile(paths::guardFile), std::string("1"));
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
        constexpr int rounds = 30;
        constexpr int starts = 8;
        for (int round = 0; round < rounds; ++round) {
            sandbox::writeFile(paths::guardFile, "2147483647");
            std::array<int, 2> results;
            QCOMPARE(pipe(results.data()), 0);
            Gate begin;
            Gate finish;
            for (int i = 0; i < starts; ++i) {
                if (fork() == 0) {
                    finish.open();
                    startAndStay(begin, results[1], finish);
                }
            }
            begin.open();
            int winners = 0;
            for (int i = 0; i < starts; ++i) {
                char won = 0;
                QCOMPARE(read(results[0], &won, 1), ssize_t(1));
                winners += won;
            }
            finish.open();
            close(results[0]);
            close(results[1]);
            while (wait(nullptr) > 0)
                continue;
            QCOMPARE(winners, 1);
        }
    }
};

VARDO_SANDBOX_TEST_MAIN(TestInstanceGuard, 1000, 1000)
#include "tst_instanceguard.moc"
