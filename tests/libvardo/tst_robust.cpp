#include "engine/vardo.h"
#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Bytes = QByteArray;
using Lines = QList<QByteArray>;

namespace {

struct Object
{
    std::string name;
    int status;
    std::string remark;
};

/// A directory of files, and scans of it through the boundary with the service of a home of its own.
class Engine
{
  public:
    explicit Engine(const Bytes& settings = {})
        : avConf(QFile::encodeName(home.writeConfiguration()))
        , scanConf(QFile::encodeName(home.write("vardo.conf", settings)))
        , vardo(scanConf.constData())
    {
        QDir(home.path("")).mkdir("tree");
        unsigned int action = SCANACT_LOG;
        started_ = home.start() > 0 && vardo.ReadConfiguration(nullptr) >= 0 &&
                   vardo.SetOption(SCANOPT_ACTION, &action) >= 0 &&
                   vardo.AddObject(tree().constData()) >= 0 &&
                   vardo.VardoAVInit(avConf.constData(), nullptr, true) >= 0;
    }
    /// Names that are not UTF-8 are beyond Qt.
    ~Engine() { std::filesystem::remove_all(tree().toStdString()); }

    Bytes tree() const { return QFile::encodeName(home.path("tree")); }
    Bytes write(const Bytes& name, const Bytes& content) const
    {
        const Bytes path = tree() + "/" + name;
        const base::UniqueFd file(::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (::write(file.get(), content.constData(), std::size_t(content.size())) != content.size())
            qFatal("cannot write %s", path.constData());
        return path;
    }

    /// Scans the tree. `onObject` sees every object, and everything else goes to `beats`.
    int scan(std::function<int(const Object&)> onObject, std::function<int()> onBeat = {})
    {
        if (!started_)
            return -2;
        onObject_ = std::move(onObject);
        onBeat_ = std::move(onBeat);
        beats = 0;
        return vardo.DoScan(&Engine::result, this, nullptr);
    }
    /// Scans the tree and gives "NAME STATUS" of each object.
    Lines scanAll(std::vector<std::string>* remarks = nullptr)
    {
        Lines lines;
        const int end = scan([&](const Object& object) {
            lines.append(Bytes::fromStdString(object.name).mid(tree().size() + 1) + " " +
                         Bytes::number(object.status));
            if (remarks)
                remarks->push_back(object.remark);
            return int(CALLBACK_CONTINUE);
        });
        return end == 0 ? lines : Lines{"result " + Bytes::number(end) + ": " + vardo.ScanError()};
    }

    ServiceHome home;
    const Bytes avConf;
    const Bytes scanConf;
    Vardo vardo;
    int beats = 0; ///< of the last scan

  private:
    static int result(const char* name, int type, int status, const char*, const char* remark, void* context)
    {
        auto& engine = *static_cast<Engine*>(context);
        if (type == OBJTYPE_DIRECTORY)
            return CALLBACK_CONTINUE;
        if (status != 0)
            return engine.onObject_({name, status, remark ? remark : ""});
        ++engine.beats;
        return engine.onBeat_ ? engine.onBeat_() : int(CALLBACK_CONTINUE);
    }

    bool started_ = false;
    std::function<int(const Object&)> onObject_;
    std::function<int()> onBeat_;
};

} // namespace

class TestRobust : public QObject
{
    Q_OBJECT

  private slots:
    void everyFileOnceWhileWorkersDie();
    void everyFileOnceWhenTheServiceDies();
    void limitsOfTheConfiguration_data();
    void limitsOfTheConfiguration();
    void hostileTree();
    void filesCutShort();
    void stopsWhileTheServiceLoads();
    void leavesNothingOpen();
};

void TestRobust::everyFileOnceWhileWorkersDie()
{
    constexpr int count = 20'000;
    Engine engine;
    for (int i = 0; i < count; ++i) {
        if (i % 1000 == 0)
            QDir(engine.home.path("tree")).mkdir(QString::number(i / 1000));
        engine.write(Bytes::number(i / 1000) + "/" + Bytes::number(i),
                     i % 100 == 7 ? ServiceHome::marker() : Bytes("harmless"));
    }
    std::vector<int> seen(count);
    int reported = 0;
    int infected = 0;
    int failed = 0;
    int killed = 0;
    bool right = true;
    const int end = engine.scan([&](const Object& object) {
        const int number = std::stoi(object.name.substr(object.name.rfind('/') + 1));
        ++seen.at(std::size_t(number));
        infected += object.status == SCANSTAT_INFECTED;
        failed += object.status == SCANSTAT_ERROR;
        right = right && (object.status == SCANSTAT_ERROR
                              ? object.remark == "not scanned: the scanner failed on this file"
                              : object.status == (number % 100 == 7 ? SCANSTAT_INFECTED : SCANSTAT_CLEAN));
        if (++reported % 1500 == 0) {
            for (const pid_t worker : engine.home.workers())
                killed += ::kill(worker, SIGKILL) == 0;
        }
        return int(CALLBACK_CONTINUE);
    });
    QCOMPARE(end, 0);
    QVERIFY2(right, "a verdict is that of the file, or says why there is none");
    QCOMPARE(std::count(seen.begin(), seen.end(), 1), count);
    QVERIFY(killed >= 10);
    QVERIFY2(failed <= killed, qPrintable(QString("%1 > %2").arg(failed).arg(killed)));
    QVERIFY(infected >= count / 100 - failed);
    QCOMPARE(engine.vardo.GetStatistics()->scFiles, unsigned(count));
    QCOMPARE(engine.vardo.GetStatistics()->scScanError, unsigned(failed));
}

void TestRobust::everyFileOnceWhenTheServiceDies()
{
    constexpr int count = 2000;
    Engine engine;
    for (int i = 0; i < count; ++i)
        engine.write(Bytes::number(i), "harmless");
    std::set<std::string> names;
    int last = 0;
    int reported = 0;
    const int end = engine.scan([&](const Object& object) {
        names.insert(object.name);
        last = object.status;
        if (++reported == 200)
            ::kill(engine.home.pid(), SIGKILL);
        return int(CALLBACK_CONTINUE);
    });
    QCOMPARE(end, 0);
    QCOMPARE(reported, count);
    QCOMPARE(names.size(), std::size_t(count));
    QCOMPARE(last, int(SCANSTAT_ERROR));
    const QS_InterfaceScanStatistics& statistics = *engine.vardo.GetStatistics();
    QVERIFY(statistics.scClean >= 200);
    QCOMPARE(statistics.scClean + statistics.scScanError, unsigned(count));
}

void TestRobust::limitsOfTheConfiguration_data()
{
    QTest::addColumn<Bytes>("content");
    QTest::addColumn<QString>("remark");
    QTest::addColumn<int>("beats");

    Bytes bomb(8 << 20, '\0');
    for (int level = 0; level < 4; ++level) {
        ZipWriter zip;
        for (int copy = 0; copy < 10; ++copy)
            zip.add(Bytes::number(copy) + ".zip", bomb);
        bomb = zip.finish();
    }
    QTest::newRow("larger than a limit") << Bytes((9 << 20) + 1, 'x') << "not scanned: larger than 9 MB" << 0;
    QTest::newRow("busy for longer") << bomb << "not wholly scanned: took longer than 1 s" << 5;
}

void TestRobust::limitsOfTheConfiguration()
{
    QFETCH(Bytes, content);
    QFETCH(QString, remark);
    QFETCH(int, beats);
    Engine engine("[Limits]\nMaxFileMB=9\nMaxScanMB=16000\nMaxFiles=1000000\nMaxSeconds=1\n");
    engine.write("a", "harmless");
    engine.write("m", content);
    engine.write("z", ServiceHome::marker());
    std::vector<std::string> remarks;
    QCOMPARE(engine.scanAll(&remarks), (Lines{"a 1", "m 8", "z 2"}));
    QCOMPARE(QString::fromStdString(remarks.at(1)), remark);
    QVERIFY(engine.beats >= beats);
}

void TestRobust::hostileTree()
{
    Engine engine("[Scan]\nFollowSymlinks=yes\n");
    const Lines names{"\x1b[2J",  "\"'$(id)`",     "%n%s%1", "-rf", "a=>b", "a\nb INFECTED [x]",
                      "\xff\xfe", Bytes(255, 'n'), " ",      "\\",  "*"};
    Lines wanted;
    for (const Bytes& name : names) {
        engine.write(name, ServiceHome::marker());
        wanted.append(name + " 2");
    }
    std::sort(wanted.begin(), wanted.end());
    QCOMPARE(::mkfifo((engine.tree() + "/fifo").constData(), 0666), 0);
    QCOMPARE(::mknod((engine.tree() + "/socket").constData(), S_IFSOCK | 0666, 0), 0);
    QCOMPARE(::symlink(".", (engine.tree() + "/loop").constData()), 0);
    QCOMPARE(::symlink("nowhere", (engine.tree() + "/dangling").constData()), 0);
    QCOMPARE(::symlink("/proc/self/mem", (engine.tree() + "/memory").constData()), 0);
    QCOMPARE(::symlink("/dev/zero", (engine.tree() + "/zero").constData()), 0);
    QCOMPARE(engine.scanAll(), wanted);
}

void TestRobust::filesCutShort()
{
    Engine engine;
    constexpr off_t whole = 32 << 20;
    constexpr off_t half = whole / 2; // still takes longer than the writer's pause
    const Bytes path = engine.write("cut", Bytes(whole, 'x'));
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        for (off_t size = half; !stop; size = size == whole ? half : whole) {
            if (::truncate(path.constData(), size) != 0)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const Lines changing = engine.scanAll();
    stop = true;
    writer.join();
    QCOMPARE(changing, Lines{"cut 8"});
    QCOMPARE(engine.scanAll(), Lines{"cut 1"}); // at rest, and nothing is broken
}

void TestRobust::stopsWhileTheServiceLoads()
{
    Engine engine;
    engine.write("file", "harmless");
    const auto ignore = [](const Object&) { return int(CALLBACK_CONTINUE); };
    ::kill(engine.home.pid(), SIGSTOP);
    QElapsedTimer timer;
    timer.start();
    const int end =
        engine.scan(ignore, [&] { return int(engine.beats < 5 ? CALLBACK_CONTINUE : CALLBACK_STOP); });
    const qint64 elapsed = timer.elapsed();
    ::kill(engine.home.pid(), SIGCONT);
    QCOMPARE(end, int(SCANRESULT_CANCELLED));
    QVERIFY2(elapsed >= 400 && elapsed < 2000, qPrintable(QString::number(elapsed)));
    QCOMPARE(engine.vardo.ScanError(), "");
    QCOMPARE(engine.scanAll(), Lines{"file 1"});
}

/// Each scan gives back its threads and descriptors, and so does a scan that was stopped.
void TestRobust::leavesNothingOpen()
{
    const auto inUse = [] {
        return std::pair(QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size(),
                         QDir("/proc/self/task").entryList(QDir::Dirs).size());
    };
    const auto before = inUse();
    for (const int answer : {CALLBACK_CONTINUE, CALLBACK_STOP}) {
        Engine engine;
        for (int i = 0; i < 500; ++i)
            engine.write(Bytes::number(i), "harmless");
        QCOMPARE(engine.vardo.LogInit(engine.home.path("").toUtf8().constData(), LOGLEVEL_ALL), 0);
        QCOMPARE(engine.scan([answer](const Object&) { return answer; }),
                 answer == CALLBACK_STOP ? int(SCANRESULT_CANCELLED) : 0);
        CloseLog();
        QTRY_VERIFY(inUse() == before); // a joined thread takes a moment to vanish
        engine.vardo.VardoAVDeinit(nullptr);
        QVERIFY(!engine.vardo.VardoIsAVLoaded());
        QCOMPARE(engine.scan([answer](const Object&) { return answer; }), -1);
    }
}

QTEST_GUILESS_MAIN(TestRobust)
#include "tst_robust.moc"
