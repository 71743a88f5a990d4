#include "base/uniquefd.h"
#include "qsavd/lockdown.h"
#include "qsavd/removetree.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <linux/landlock.h>
#include <seccomp.h>
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

/// Ways out of a process: to files, sockets, processes, the kernel. They are refused before anybody looks at
/// what they are called with.
constexpr char waysOut[] =
    "accept accept4 acct add_key bind bpf capset chdir chmod chown chroot clone clone3 connect "
    "copy_file_range delete_module epoll_create1 eventfd2 execve execveat fallocate fanotify_init "
    "fchdir fchmod fchmodat fchown fchownat finit_module flock fork fsconfig fsetxattr fsmount fsopen "
    "fspick futimesat init_module inotify_init1 io_setup io_submit io_uring_enter io_uring_register "
    "io_uring_setup ioctl ioprio_set kcmp kexec_load keyctl kill landlock_restrict_self lchown link "
    "linkat listen lsetxattr memfd_create mknod mknodat mount mount_setattr move_mount mq_open msgget "
    "name_to_handle_at open_by_handle_at open_tree openat2 perf_event_open personality pidfd_getfd "
    "pidfd_open pidfd_send_signal pipe2 pivot_root pkey_mprotect prctl prlimit64 process_madvise "
    "process_vm_readv process_vm_writev ptrace quotactl reboot remap_file_pages removexattr rename "
    "renameat renameat2 request_key rt_sigqueueinfo rt_tgsigqueueinfo sched_setaffinity sched_setattr "
    "sched_setscheduler seccomp semget sendmmsg set_mempolicy setfsuid setgid setgroups setitimer setns "
    "setpgid setpriority setresuid setreuid setrlimit setsid setsockopt setuid setxattr shmat shmget "
    "shutdown signalfd4 socket socketpair splice swapon symlink symlinkat syslog tgkill timer_create "
    "timerfd_create tkill truncate umount2 unshare userfaultfd utime utimensat vfork vmsplice";

/// Their numbers on this machine.
std::vector<int> numbersOf(const char* names)
{
    std::istringstream words(names);
    std::vector<int> numbers;
    for (std::string name; words >> name;)
        numbers.push_back(seccomp_syscall_resolve_name(name.c_str()));
    std::erase_if(numbers, [](int number) { return number < 0; });
    return numbers;
}

/// True when one of them is not refused.
bool isOpen(const std::vector<int>& calls)
{
    return std::any_of(calls.begin(), calls.end(),
                       [](int call) { return syscall(call, 0, 0, 0, 0, 0, 0) != -1 || errno != EPERM; });
}

/// Commands of fcntl that are not refused, of all that there are.
int freeFileCommands()
{
    int free = 0;
    for (int command = 0; command < 2048; ++command)
        free += syscall(SYS_fcntl, 0, command, 0) != -1 || errno != EPERM;
    return free;
}

/// With a number of the other kind of system calls, which a filter may have forgotten.
bool canCallOtherwise()
{
#ifdef __x86_64__
    constexpr long x32 = 0x40000000;
    return syscall(x32 | SYS_getpid) > 0;
#else
    return false;
#endif
}

} // namespace

/// What a worker can and cannot do once it is locked down; each row is tried in a process of its own.
class TestLockdown : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        if (geteuid() == 0)
            identities_ = {qsavd::serviceIdentity(), {1000, 1000}}; // of root's worker and a user's
        QVERIFY(QFile(directory_.filePath("beside")).open(QFile::WriteOnly));
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
        row("finds a way out", false, false, [calls = numbersOf(waysOut)] { return isOpen(calls); });
        row("has no more of fcntl than five commands", true, false, [] { return freeFileCommands() == 5; });
        row("makes calls of another kind", false, false, canCallOtherwise);
        row("makes files of its own", true, false, [] { return canOpen("own", O_RDWR | O_CREAT); });
        row("makes directories of its own", true, false,
            [] { return mkdir("folder", 0700) == 0 && rmdir("folder") == 0; });
        row("reads others' files", false, true, [] { return canOpen("/etc/passwd", O_RDONLY); });
        row("looks into processes", false, true, [] {
            return canOpen("/proc/self/mem", O_RDWR) || canOpen("/proc/1/environ", O_RDONLY) ||
                   canOpen("/proc/self/fd/0", O_RDONLY);
        });
        row("deletes others' files", false, true, [] { return unlink("../beside") == 0; });
        row("writes elsewhere", false, true,
            [] { return canOpen("/tmp/escaped-from-lockdown", O_RDWR | O_CREAT); });
        row("makes memory executable", false, false, canMakeExecutable);
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
        for (const qsavd::Identity& identity : identities_)
            QCOMPARE(inLockedProcess(identity, getpid(), action) % (1000 + SIGSYS), allowed ? 1 : 0);
    }

    void refusesWhenItsServiceIsGone()
    {
        QCOMPARE(inLockedProcess(identities_[0], getppid(), [] { return true; }), 100);
    }

    /// What a worker leaves behind, however it was meant.
    void clearsAwayTreesOfAnyDepth()
    {
        const std::string tree = directory_.filePath("tree").toStdString();
        QCOMPARE(mkdir(tree.c_str(), 0700), 0);
        base::UniqueFd at(open(tree.c_str(), O_RDONLY | O_DIRECTORY));
        for (int depth = 0; depth < 1500; ++depth) {
            QVERIFY(mkdirat(at.get(), "d", 0700) == 0 &&
                    symlinkat(directory_.path().toUtf8(), at.get(), "l") == 0);
            base::UniqueFd inner(openat(at.get(), "d", O_RDONLY | O_DIRECTORY));
            QCOMPARE(fchmod(at.get(), 0), 0);
            at = std::move(inner);
        }
        qsavd::removeTree(tree);
        QVERIFY(!QFileInfo::exists(directory_.filePath("tree")));
        QVERIFY(QFileInfo::exists(directory_.filePath("beside")));
    }

  private:
    /// 1 when the action succeeded, 0 when it did not, otherwise how the process ended.
    int inLockedProcess(const qsavd::Identity& identity, pid_t parent,
                        const std::function<bool()>& action) const
    {
        const QByteArray work = QFile::encodeName(directory_.filePath("work"));
        qsavd::removeTree(work.toStdString());
        for (const QByteArray& path : {QFile::encodeName(directory_.path()), work})
            if ((path == work && mkdir(path.constData(), 0700) != 0) ||
                chown(path.constData(), identity.user, identity.group) != 0)
                return -1;
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGXFSZ, SIG_IGN);
            if (!qsavd::giveUpRoot(identity) ||
                !qsavd::lockDown(work.toStdString(), parent, 1 << 20, 4 << 20))
                _exit(100);
            _exit(action() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    QTemporaryDir directory_{"/dev/shm/tst_lockdown-XXXXXX"};
    std::vector<qsavd::Identity> identities_{{getuid(), getgid()}};
};

QTEST_GUILESS_MAIN(TestLockdown)
#include "tst_lockdown.moc"
