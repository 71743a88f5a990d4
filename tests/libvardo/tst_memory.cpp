#include "base/uniquefd.h"
#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/// An ordinary user that nothing else runs as.
constexpr uid_t testUser = 54321;

/// A process that has set itself up with `prepare` and waits.
class Process
{
  public:
    template <class Prepare>
    explicit Process(const Prepare& prepare)
    {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
            qFatal("socketpair");
        char byte = 'x';
        pid_ = ::fork();
        if (pid_ == 0) {
            if (::geteuid() == 0 && ::setuid(testUser) != 0)
                ::_exit(1);
            ::prctl(PR_SET_DUMPABLE, 1);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            prepare();
            if (::write(ends[1], &byte, 1) == 1 && ::read(ends[1], &byte, 1) == 1)
                ::prctl(PR_SET_DUMPABLE, 0);
            for (;;)
                ::pause();
        }
        ::close(ends[1]);
        socket_.reset(ends[0]);
        if (::read(socket_.get(), &byte, 1) != 1)
            qFatal("the process did not start");
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process()
    {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }

    /// Has it close itself to its own user.
    void close() const
    {
        char target[8];
        const std::string link = "/proc/" + std::to_string(pid_) + "/exe";
        if (::write(socket_.get(), "x", 1) != 1)
            qFatal("the process has ended");
        while (::readlink(link.c_str(), target, sizeof target) > 0)
            ::usleep(1000);
    }

    const Call* reported(const ScanWorld& world) const
    {
        const std::string head = std::to_string(pid_) + " /";
        for (const Call& call : world.calls) {
            if (call.name.compare(0, head.size(), head) == 0)
                return &call;
        }
        return nullptr;
    }

  private:
    base::UniqueFd socket_;
    pid_t pid_ = -1;
};

/// Scans the processes of an ordinary user, also when the test runs as root.
int scanAsUser(ScanWorld& world)
{
    const bool root = ::geteuid() == 0;
    if (root && ::seteuid(testUser) != 0)
        return -1;
    const int result = world.scanMemory();
    if (root && ::seteuid(0) != 0)
        return -1;
    return result;
}

void mapCode(const char* content, std::size_t size = 4096)
{
    void* memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    qstrcpy(static_cast<char*>(memory), content);
}

class TestMemory : public QObject
{
    Q_OBJECT

  private slots:
    void findsCodeWithoutAFile()
    {
        ScanWorld world;
        world.plan.action = SCANACT_DELETE; // processes are reported only
        const Process infected([] { mapCode("infected"); });
        const Process clean([] { mapCode("harmless"); });
        const Process large([] { mapCode("harmless", std::size_t{130} << 20); });
        QCOMPARE(scanAsUser(world), 0);
        const Call* call = infected.reported(world);
        QVERIFY(call);
        QCOMPARE(call->type, int(OBJTYPE_PROCESS));
        QCOMPARE(call->status, int(SCANSTAT_INFECTED));
        QCOMPARE(call->virus, std::string("Test.Virus"));
        QCOMPARE(call->remark, std::string("in memory without a file"));
        QCOMPARE(clean.reported(world)->status, int(SCANSTAT_CLEAN));
        QCOMPARE(large.reported(world)->status, int(SCANSTAT_ERROR));
        QCOMPARE(large.reported(world)->remark,
                 std::string("in memory without a file; not wholly scanned: too large"));
        QCOMPARE(world.statistics.scInfected, 1u);
        QCOMPARE(world.statistics.scFiles, unsigned(world.calls.size() - std::size_t(world.beats())));
    }

    void findsMappedFiles()
    {
        for (const bool deleted : {false, true}) {
            ScanWorld world;
            const QByteArray library = world.write("lib\nx.so", "infected");
            const Process process([&library] {
                const int fd = ::open(library.constData(), O_RDONLY);
                if (::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE, fd, 0) == MAP_FAILED)
                    ::_exit(1);
            });
            if (deleted)
                QCOMPARE(::unlink(library.constData()), 0);
            for (const bool asRoot : {false, true}) {
                if (asRoot && ::geteuid() != 0)
                    break;
                QCOMPARE(asRoot ? world.scanMemory(true) : scanAsUser(world), 0);
                const Call* call = process.reported(world);
                QVERIFY(call && call->status == SCANSTAT_INFECTED);
                QVERIFY2(call->remark.find("x.so") != std::string::npos, call->remark.c_str());
            }
            QVERIFY(::geteuid() != 0 || (world.scanMemory() == 0 && !process.reported(world)));
        }
    }

    /// As a worker of the service does while it starts. What was found in it before stays found.
    void passesOverWhatClosesItself()
    {
        for (const char* content : {"harmless", "infected"}) {
            ScanWorld world;
            const Process process([content] {
                for (int i = 0; i < 300; ++i) { // more than a scan holds at a time
                    mapCode(content);
                    ::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                }
            });
            world.service.holding = true;
            world.onCall = [&](const Call&) {
                if (world.service.holding && world.service.submitted > 10) {
                    process.close();
                    world.service.holding = false;
                }
                return static_cast<int>(CALLBACK_CONTINUE);
            };
            QCOMPARE(scanAsUser(world), 0);
            const Call* call = process.reported(world);
            QCOMPARE(call ? call->status : 0, *content == 'i' ? int(SCANSTAT_INFECTED) : 0);
            QCOMPARE(world.statistics.scScanError, 0u);
        }
    }
};

QTEST_GUILESS_MAIN(TestMemory)
#include "tst_memory.moc"
