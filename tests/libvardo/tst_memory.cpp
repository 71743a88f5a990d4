#include "libvardo/processmaps.h"
#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
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
        int ready[2];
        if (::pipe(ready) != 0)
            qFatal("pipe");
        pid_ = ::fork();
        if (pid_ == 0) {
            if (::geteuid() == 0 && ::setuid(testUser) != 0)
                ::_exit(1);
            ::prctl(PR_SET_DUMPABLE, 1);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            prepare();
            announceAndWait(ready[1]);
        }
        char byte = 0;
        if (::read(ready[0], &byte, 1) != 1)
            qFatal("the process did not start");
        ::close(ready[0]);
        ::close(ready[1]);
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
        ::kill(pid_, SIGUSR1);
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
    [[noreturn]] static void announceAndWait(int ready)
    {
        sigset_t close;
        sigemptyset(&close);
        sigaddset(&close, SIGUSR1);
        ::sigprocmask(SIG_BLOCK, &close, nullptr);
        int signal = 0;
        if (::write(ready, "x", 1) == 1 && ::sigwait(&close, &signal) == 0) {
            ::prctl(PR_SET_DUMPABLE, 0);
            for (;;)
                ::pause();
        }
        ::_exit(1);
    }

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
    void findsCodeWithoutAFile();
    void findsMappedFiles_data();
    void findsMappedFiles();
    void scansEachFileOnce();
    void saysWhatIsTooLarge();
    void passesOverWhatClosesItself_data();
    void passesOverWhatClosesItself();
    void stops();
    void readsMappingLines_data();
    void readsMappingLines();
};

void TestMemory::findsCodeWithoutAFile()
{
    ScanWorld world;
    world.plan.action = SCANACT_DELETE; // processes are reported only
    const Process infected([] { mapCode("infected"); });
    const Process clean([] { mapCode("harmless"); });
    QCOMPARE(scanAsUser(world), 0);
    const Call* call = infected.reported(world);
    QVERIFY(call);
    QCOMPARE(call->type, int(OBJTYPE_PROCESS));
    QCOMPARE(call->status, int(SCANSTAT_INFECTED));
    QCOMPARE(call->virus, std::string("Test.Virus"));
    QCOMPARE(call->remark, std::string("in memory without a file"));
    QCOMPARE(clean.reported(world)->status, int(SCANSTAT_CLEAN));
    QCOMPARE(world.statistics.scInfected, 1u);
    QCOMPARE(world.statistics.scFiles, unsigned(world.calls.size() - std::size_t(world.beats())));
}

void TestMemory::findsMappedFiles_data()
{
    QTest::addColumn<bool>("asRoot");
    QTest::addColumn<bool>("deleted");
    QTest::newRow("user") << false << false;
    QTest::newRow("user, deleted") << false << true;
    QTest::newRow("root") << true << false;
    QTest::newRow("root, deleted") << true << true;
}

void TestMemory::findsMappedFiles()
{
    QFETCH(bool, asRoot);
    QFETCH(bool, deleted);
    if (asRoot && ::geteuid() != 0)
        QSKIP("needs root");
    ScanWorld world;
    const QByteArray library = world.write("lib\nx.so", "infected");
    const Process process([&library, deleted] {
        const int fd = ::open(library.constData(), O_RDONLY);
        if (::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE, fd, 0) == MAP_FAILED)
            ::_exit(1);
        ::close(fd);
    });
    if (deleted)
        QCOMPARE(::unlink(library.constData()), 0);
    QCOMPARE(asRoot ? world.scanMemory(true) : scanAsUser(world), 0);
    const Call* call = process.reported(world);
    QVERIFY(call);
    QCOMPARE(call->status, int(SCANSTAT_INFECTED));
    QVERIFY2(call->remark.find("x.so") != std::string::npos, call->remark.c_str());
    QVERIFY(call->remark.find('\n') == std::string::npos);
}

void TestMemory::scansEachFileOnce()
{
    ScanWorld world;
    const Process one([] {});
    QCOMPARE(scanAsUser(world), 0);
    const int before = world.service.submitted.exchange(0);
    const Process two([] {});
    QCOMPARE(scanAsUser(world), 0);
    QVERIFY(two.reported(world));
    QCOMPARE(world.service.submitted.load(), before);
}

void TestMemory::saysWhatIsTooLarge()
{
    ScanWorld world;
    const Process process([] { mapCode("harmless", std::size_t{130} << 20); });
    QCOMPARE(scanAsUser(world), 0);
    QCOMPARE(process.reported(world)->status, int(SCANSTAT_ERROR));
    QCOMPARE(process.reported(world)->remark,
             std::string("in memory without a file; not wholly scanned: too large"));
}

void TestMemory::passesOverWhatClosesItself_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("found nothing before") << QByteArray("harmless");
    QTest::newRow("found something before") << QByteArray("infected");
}

/// As a worker of the service does while it starts.
void TestMemory::passesOverWhatClosesItself()
{
    QFETCH(QByteArray, content);
    ScanWorld world;
    const Process process([&content] {
        for (int i = 0; i < 300; ++i) { // more than a scan holds at a time
            mapCode(content.constData());
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
    QCOMPARE(call != nullptr, content == "infected");
    QVERIFY(!call || call->status == SCANSTAT_INFECTED);
    QCOMPARE(world.statistics.scScanError, 0u);
}

void TestMemory::stops()
{
    ScanWorld world;
    const Process process([] {});
    world.service.holding = true;
    world.onCall = [](const Call&) { return static_cast<int>(CALLBACK_STOP); };
    QCOMPARE(scanAsUser(world), int(SCANRESULT_CANCELLED));
    QCOMPARE(world.calls.size(), std::size_t(1));
}

void TestMemory::readsMappingLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("code");
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("file")
        << QByteArray("7f00-7f10 r-xp 00000000 fe:01 123                        /usr/lib/a b.so (deleted)")
        << true << QByteArray("/usr/lib/a b.so (deleted)");
    QTest::newRow("no name") << QByteArray("7f00-7f10 rwxp 00000000 00:00 0") << true << QByteArray();
    QTest::newRow("no name, blank") << QByteArray("7f00-7f10 rwxp 00000000 00:00 0 ") << true << QByteArray();
    QTest::newRow("data") << QByteArray("7f00-7f10 rw-p 00000000 00:00 0") << false << QByteArray();
    QTest::newRow("kernel") << QByteArray("7f00-7f10 r-xp 00000000 00:00 0     [vdso]") << false
                            << QByteArray();
    QTest::newRow("empty") << QByteArray() << false << QByteArray();
    QTest::newRow("cut") << QByteArray("7f00-7f10 r-x") << false << QByteArray();
    QTest::newRow("backwards") << QByteArray("7f10-7f00 r-xp 00000000 00:00 0") << false << QByteArray();
}

void TestMemory::readsMappingLines()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, code);
    QFETCH(QByteArray, path);
    vardo::CodeMapping mapping;
    QCOMPARE(vardo::parseCodeMapping({line.constData(), static_cast<std::size_t>(line.size())}, mapping),
             code);
    if (!code)
        return;
    QCOMPARE(QByteArray::fromStdString(mapping.path), path);
    QCOMPARE(mapping.start, 0x7f00u);
    QCOMPARE(mapping.end, 0x7f10u);
}

QTEST_GUILESS_MAIN(TestMemory)
#include "tst_memory.moc"
