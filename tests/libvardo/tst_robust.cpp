#include "engine/qsavinfo.h"
#include "engine/vardo.h"
#include "tests/qsavd/servicehome.h"

#include <QDir>
#include <QTest>

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

struct File
{
    int number;
    int status;
    std::string remark;
};

/// A directory of files, and scans of it through the boundary with the service of a home of its own.
class Engine
{
  public:
    /// Makes that many files, of which every hundredth is infected.
    explicit Engine(int files)
        : vardo(QFile::encodeName(home.write("vardo.conf", "")).constData())
    {
        QDir(home.path("")).mkdir("tree");
        for (int i = 0; i < files; ++i)
            home.write("tree/" + QString::number(i), isInfected(i) ? ServiceHome::marker() : "harmless");
        const QByteArray configuration = QFile::encodeName(home.writeConfiguration());
        unsigned int action = SCANACT_LOG;
        started_ = home.start() > 0 && vardo.ReadConfiguration(nullptr) >= 0 &&
                   vardo.SetOption(SCANOPT_ACTION, &action) >= 0 &&
                   vardo.AddObject(QFile::encodeName(home.path("tree")).constData()) >= 0 &&
                   vardo.VardoAVInit(configuration.constData(), nullptr, true) >= 0;
    }

    static bool isInfected(int file) { return file % 100 == 7; }

    /// Scans the files; `onFile` sees each.
    int scan(std::function<int(const File&)> onFile)
    {
        onFile_ = std::move(onFile);
        return started_ ? vardo.DoScan(&Engine::result, this, nullptr) : -2;
    }

    ServiceHome home;
    Vardo vardo;

  private:
    static int result(const char* name, int type, int status, const char*, const char* remark, void* context)
    {
        if (type == OBJTYPE_DIRECTORY || status == 0)
            return CALLBACK_CONTINUE;
        const int number = std::stoi(std::string(name).substr(std::string_view(name).rfind('/') + 1));
        return static_cast<Engine*>(context)->onFile_({number, status, remark ? remark : ""});
    }

    bool started_ = false;
    std::function<int(const File&)> onFile_;
};

/// Never the whole group of processes, as 0 would.
bool killOne(pid_t pid)
{
    return pid > 0 && ::kill(pid, SIGKILL) == 0;
}

} // namespace

class TestRobust : public QObject
{
    Q_OBJECT

  private slots:
    /// The workers again and again, and then the service.
    void everyFileOnceWhoeverDies()
    {
        for (const bool service : {false, true}) {
            const int count = service ? 2'000 : 5'000;
            Engine engine(count);
            std::vector<int> seen(std::size_t(count), 0);
            int reported = 0;
            int failed = 0;
            int killed = 0;
            bool right = true;
            const int end = engine.scan([&](const File& file) {
                ++seen.at(std::size_t(file.number));
                failed += file.status == SCANSTAT_ERROR;
                if (file.status == SCANSTAT_ERROR)
                    right = right && !(service && hangsUpFirst) &&
                            file.remark == "not scanned: the scanner failed on this file";
                else
                    right = right && (file.status == SCANSTAT_INFECTED) == Engine::isInfected(file.number);
                if (++reported % 300 == 0 && service) // as a whole, or what needs most memory
                    killed += killOne(killed % 2 ? engine.home.pid() : engine.home.holders().value(0));
                if (reported % 400 == 0 && !service) {
                    for (const pid_t worker : engine.home.workers())
                        killed += ::kill(worker, SIGKILL) == 0;
                }
                return int(CALLBACK_CONTINUE);
            });
            QCOMPARE(end, 0);
            QVERIFY2(right, "a verdict is that of the file, or says why there is none");
            QCOMPARE(std::count(seen.begin(), seen.end(), 1), count);
            QVERIFY2(killed >= (service ? 5 : 10) && failed <= killed,
                     qPrintable(QString("%1, %2").arg(failed).arg(killed)));
            const QS_InterfaceScanStatistics& statistics = *engine.vardo.GetStatistics();
            QCOMPARE(statistics.scFiles, unsigned(count));
            QCOMPARE(statistics.scScanError, unsigned(failed));
            QCOMPARE(statistics.scClean + statistics.scInfected, unsigned(count - failed));
        }
    }

    /// A scan that cannot go on is no finished one, and counts what was scanned.
    void lostServiceIsTold()
    {
        constexpr int count = 20'000; // more than goes ahead of what is reported
        Engine engine(count);
        int reported = 0;
        const int end = engine.scan([&](const File& file) {
            if (++reported == 200) {
                QDir(engine.home.path("signatures")).removeRecursively();
                if (const pid_t pid = engine.home.pid(); pid > 0)
                    ::kill(pid, SIGKILL);
            }
            return file.status == SCANSTAT_ERROR && hangsUpFirst ? int(CALLBACK_STOP)
                                                                 : int(CALLBACK_CONTINUE);
        });
        QCOMPARE(end, -1);
        const QByteArray error = engine.vardo.ScanError();
        QVERIFY2(error.contains("cannot go on") && error.contains("No signatures"), error.constData());
        QVERIFY(reported >= 200 && reported < count);
        QCOMPARE(engine.vardo.GetStatistics()->scFiles, unsigned(reported));
    }

    /// Whatever a file says of itself, it neither counts nor dates what is scanned with, and is named.
    void damagedSignaturesDoNotCount()
    {
        Engine engine(1);
        const QByteArray head = "ClamAV-VDB:16 Sep 2021 08-32 -0400:62:6647427:90:" + QByteArray(32, 'f') +
                                ":sig:builder:1631795562";
        const QByteArray conf = QFile::encodeName(engine.home.path("qsav.conf"));
        QVERIFY(QFile::remove(engine.home.path("signatures/test.ndb")));
        const QString damaged = engine.home.write("signatures/main.cvd", head.leftJustified(2000));
        QTRY_VERIFY(engine.vardo.VardoAVInit(conf, nullptr, true) == 0 && *engine.vardo.ScanError());
        QVERIFY(
            QByteArray(engine.vardo.ScanError()).startsWith(QFile::encodeName(damaged) + " was left out: "));
        qsavInfo info = {};
        QCOMPARE(GetQSAVInfo(QS_BDESystem, conf, info), 0);
        QCOMPARE(info.noOfSignature, 1ul);
        QVERIFY2(QByteArray(info.version).startsWith("2") && qstrlen(info.version) == 8, info.version);
        // With nothing left the initialisation fails.
        QVERIFY(QFile::remove(engine.home.path("signatures/marker.ndb")));
        QTRY_VERIFY(engine.vardo.VardoAVInit(conf, nullptr, true) < 0);
        QVERIFY(QByteArray(engine.vardo.ScanError()).contains("No signatures"));
        QVERIFY(QByteArray(engine.vardo.ScanError()).contains("main.cvd was left out: "));
        QCOMPARE(GetQSAVInfo(QS_BDESystem, conf, info), -1);
    }

    /// Each scan gives back its threads and descriptors, and so does a scan that was stopped.
    void leavesNothingOpen()
    {
        const auto inUse = [] {
            return std::pair(QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size(),
                             QDir("/proc/self/task").entryList(QDir::Dirs).size());
        };
        const auto before = inUse();
        for (const int answer : {CALLBACK_CONTINUE, CALLBACK_STOP}) {
            Engine engine(500);
            QCOMPARE(engine.vardo.LogInit(engine.home.path("").toUtf8().constData(), LOGLEVEL_ALL), 0);
            QCOMPARE(engine.scan([answer](const File&) { return answer; }),
                     answer == CALLBACK_STOP ? int(SCANRESULT_CANCELLED) : 0);
            CloseLog();
            QTRY_VERIFY(inUse() == before); // a joined thread takes a moment to vanish
            engine.vardo.VardoAVDeinit(nullptr);
            QVERIFY(!engine.vardo.VardoIsAVLoaded());
            QCOMPARE(engine.scan([answer](const File&) { return answer; }), -1);
        }
    }
};

QTEST_GUILESS_MAIN(TestRobust)
#include "tst_robust.moc"
