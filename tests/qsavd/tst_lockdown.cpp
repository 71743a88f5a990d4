#include "qsavd/lockdown.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool haveLandlock()
{
    return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) >= 1;
}

bool canOpen(const char* path, int flags)
{
    const int file = open(path, flags | O_CLOEXEC, 0600);
    if (file >= 0)
        close(file);
    return file >= 0;
}

bool canMakeExecutable()
{
    return mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
           MAP_FAILED;
}

bool canAllocate(std::size_t bytes)
{
    return mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
}

bool canWrite(const char* path, std::size_t bytes)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const bool written = file >= 0 && pwrite(file, "x", 1, static_cast<off_t>(bytes) - 1) == 1;
    close(file);
    return written;
}

} // namespace

/// What a worker can and cannot do once it is locked down; each row is tried in a process of its own.
class TestLockdown : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        const auto identity = qsavd::serviceIdentity();
        if (geteuid() == 0)
            QCOMPARE(chown(QFile::encodeName(directory_.path()).constData(), identity.user, identity.group),
                     0);
    }

    void rights_data()
    {
        QTest::addColumn<std::function<bool()>>("action");
        QTest::addColumn<bool>("allowed");
        QTest::addColumn<bool>("byLandlock");
        const auto row = [](const char* name, bool allowed, bool byLandlock, std::function<bool()> action) {
            QTest::newRow(name) << std::move(action) << allowed << byLandlock;
        };
        row("is anybody but root", true, false, [] { return geteuid() != 0 && getgid() != 0; });
        row("knows its files' flags", true, false,
            [] { return fcntl(0, F_GETFL) >= 0 && fcntl(0, F_GETFD) >= 0; });
        row("has signals sent to others", false, false, [] {
            return fcntl(0, F_SETOWN, getppid()) == 0 || fcntl(0, F_SETSIG, SIGKILL) == 0 ||
                   fcntl(0, F_SETFL, O_ASYNC) == 0 || fcntl(0, F_NOTIFY, DN_CREATE) == 0;
        });
        row("locks files", false, false, [] {
            struct flock whole = {};
            whole.l_type = F_RDLCK;
            return fcntl(0, F_SETLEASE, F_RDLCK) == 0 || fcntl(0, F_SETLK, &whole) == 0;
        });
        row("makes files of its own", true, false, [] { return canOpen("own", O_RDWR | O_CREAT); });
        row("makes directories of its own", true, false,
            [] { return mkdir("folder", 0700) == 0 && rmdir("folder") == 0; });
        row("reads others' files", false, true, [] { return canOpen("/etc/passwd", O_RDONLY); });
        row("writes elsewhere", false, true,
            [] { return canOpen("/tmp/escaped-from-lockdown", O_RDWR | O_CREAT); });
        row("makes links", false, false, [] { return symlink("/etc/passwd", "link") == 0; });
        row("changes modes", false, false, [] { return chmod("own", 0777) == 0; });
        row("opens sockets", false, false, [] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; });
        row("starts processes", false, false, [] { return fork() > 0; });
        row("runs programs", false, false, [] { return execl("/bin/true", "true", nullptr) == 0; });
        row("signals others", false, false, [] { return kill(getppid(), 0) == 0; });
        row("makes memory executable", false, false, canMakeExecutable);
        row("becomes root", false, false, [] { return setuid(0) == 0; });
        row("allocates what a file takes", true, false, [] { return canAllocate(256u << 20); });
        row("allocates without end", false, false, [] { return canAllocate(1024u << 20); });
        row("unpacks what it may", true, false, [] { return canWrite("big", 4u << 20); });
        row("unpacks without end", false, false, [] { return canWrite("big", 5u << 20); });
    }

    void rights()
    {
        QFETCH(std::function<bool()>, action);
        QFETCH(bool, allowed);
        QFETCH(bool, byLandlock);
        if (byLandlock && !haveLandlock())
            QSKIP("this kernel has no Landlock");
        QCOMPARE(inLockedProcess(getpid(), action), allowed ? 1 : 0);
    }

    void refusesWhenItsServiceIsGone()
    {
        QCOMPARE(inLockedProcess(getppid(), [] { return true; }), 100);
    }

  private:
    /// 1 when the action succeeded, 0 when it did not, otherwise how the process ended.
    int inLockedProcess(pid_t parent, const std::function<bool()>& action) const
    {
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGXFSZ, SIG_IGN);
            if (!qsavd::giveUpRoot(qsavd::serviceIdentity()) ||
                !qsavd::lockDown(directory_.path().toStdString(), parent, 1 << 20, 4 << 20))
                _exit(100);
            _exit(action() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    QTemporaryDir directory_{"/tmp/tst_lockdown-XXXXXX"};
};

QTEST_GUILESS_MAIN(TestLockdown)
#include "tst_lockdown.moc"
