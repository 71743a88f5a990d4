#include "engine/interface.h"
#include "protocol/filetime.h"
#include "tests/qsavd/servicehome.h"

#include <QDir>
#include <QTest>

#include <csignal>
#include <thread>

#include <sys/stat.h>

using vardo::SessionOptions;

namespace {

SessionOptions oneWorker()
{
    SessionOptions options;
    options.workers = 1;
    return options;
}

/// What a process says of itself in /proc.
QByteArray statusField(pid_t pid, const QByteArray& field)
{
    QFile status(QString("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly))
        for (const QByteArray& line : status.readAll().split('\n'))
            if (line.startsWith(field + ":"))
                return line.mid(field.size() + 1).simplified();
    return {};
}

} // namespace

/// What becomes of a session when its workers do not behave.
class TestWorkers : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        home_ = std::make_unique<ServiceHome>();
        QCOMPARE(home_->start(), 2ul);
    }

    void workersHaveNoRights()
    {
        TestScan scan(*home_, oneWorker());
        scan.submit(home_->write("clean", "harmless"));
        QVERIFY(scan.waitForAll());
        const pid_t worker = onlyWorker();
        QVERIFY(worker > 0);
        QCOMPARE(statusField(worker, "NoNewPrivs"), QByteArray("1"));
        QCOMPARE(statusField(worker, "Seccomp"), QByteArray("2")); // filtered
        QCOMPARE(statusField(worker, "CapEff").toULongLong(nullptr, 16), 0ull);
        // Nor has the process that reads the signatures.
        for (const pid_t process : {worker, home_->holders().value(0)}) {
            for (const char* field : {"Uid", "Gid"}) {
                const QList<QByteArray> ids = statusField(process, field).split(' ');
                QVERIFY(ids.size() == 4 && (geteuid() != 0 || !ids.contains("0")));
            }
            QCOMPARE(statusField(process, "CapPrm").toULongLong(nullptr, 16), 0ull);
        }
        if (geteuid() == 0) // others may not look into it
            QCOMPARE(QDir(QString("/proc/%1/fd").arg(worker)).entryList(QDir::Files | QDir::System).size(),
                     4);
    }

    void stuckWorkerCostsOneFile()
    {
        SessionOptions options = oneWorker();
        options.maxSeconds = 1;
        TestScan scan(*home_, options);
        const pid_t worker = stopWorker(scan);
        QVERIFY(worker > 0);
        scan.submit(home_->write("large", QByteArray(17 << 20, 'x'))); // has twice the time
        scan.submit(home_->path("clean"));
        QVERIFY(scan.waitForAll());
        QCOMPARE(scan.verdict(1).status, int(SCANSTAT_ERROR));
        QCOMPARE(scan.verdict(1).remark, std::string("not scanned: took longer than 2 s"));
        QCOMPARE(scan.verdict(2).status, int(SCANSTAT_CLEAN));
        QVERIFY(ServiceHome::waitForEnd(worker));
    }

    void aHoleBringsNoTime()
    {
        const QString path = home_->write("sparse", "x");
        QVERIFY(QFile::resize(path, 1 << 30));
        struct stat file = {};
        QCOMPARE(stat(QFile::encodeName(path).constData(), &file), 0);
        QCOMPARE(qsavd::timeForFile(30, file), std::chrono::seconds(30));
    }

    void stopLeavesNothingBehind()
    {
        auto scan = std::make_unique<TestScan>(*home_, oneWorker());
        QVERIFY(stopWorker(*scan) > 0);
        for (int i = 0; i < 100; ++i)
            scan->submit(home_->path("clean"));
        QElapsedTimer timer;
        timer.start();
        scan.reset();
        QVERIFY2(timer.elapsed() < 2000, "a stop waits for no worker");
        QTRY_VERIFY(home_->workers().isEmpty());
        const QString workspace = home_->workspace();
        const QString seenThere = QString("/proc/%1/root").arg(home_->holders().value(0)) + workspace;
        QVERIFY(QDir(seenThere).count() <= 2); // "." and "..", and nobody but root may look
        const pid_t service = home_->pid();
        home_.reset();
        QVERIFY(ServiceHome::waitForEnd(service));
        QVERIFY(!QFileInfo::exists(workspace));
    }

    void lostServiceIsStartedAgain()
    {
        TestScan scan(*home_, oneWorker());
        for (const bool usable : {true, false}) {
            const pid_t worker = stopWorker(scan);
            QVERIFY(worker > 0);
            for (int i = 0; i < 20; ++i)
                scan.submit(home_->path("clean"));
            const QString workspace = home_->workspace();
            QVERIFY(QFileInfo::exists(workspace));
            if (!usable)
                QVERIFY(QDir(home_->path("signatures")).removeRecursively());
            kill(home_->pid(), SIGKILL);
            scan.submit(home_->path("clean"));
            if (usable)
                QVERIFY(scan.waitForAll());
            else
                QTRY_VERIFY(!scan.lost().empty());
            QVERIFY2(ServiceHome::waitForEnd(worker), "a worker dies with its service");
            QVERIFY2(!QFileInfo::exists(workspace), "the next service clears away");
        }
        // Not even the file in hand was lost the first time, and nothing was told about those after the
        // second.
        for (std::size_t i = 0; i < scan.verdicts() && hangsUpFirst; ++i)
            QCOMPARE(scan.verdict(i).status, int(SCANSTAT_CLEAN));
        QCOMPARE(scan.verdicts(), std::size_t(23));
        QVERIFY2(scan.lost().find("No signatures") != std::string::npos, scan.lost().c_str());
    }

    void twoSessionsDoNotDisturbEachOther()
    {
        const QString marked = home_->write("marked", ServiceHome::marker());
        SessionOptions archivesOff = oneWorker();
        archivesOff.archives = false;
        TestScan one(*home_, oneWorker());
        auto two = std::make_unique<TestScan>(*home_, archivesOff);
        one.submit(marked);
        two->submit(marked);
        QVERIFY(one.waitForAll() && two->waitForAll());
        two.reset();
        QTRY_COMPARE(home_->workers().size(), 1);
        one.submit(marked);
        QVERIFY(one.waitForAll());
        QCOMPARE(one.verdict(1).status, int(SCANSTAT_INFECTED));
    }

  private:
    pid_t onlyWorker() const
    {
        const QList<pid_t> workers = home_->workers();
        return workers.size() == 1 ? workers.front() : 0;
    }

    /// Scans a file, so that there is a worker, and stops that.
    pid_t stopWorker(TestScan& scan) const
    {
        scan.submit(home_->write("clean", "harmless"));
        const pid_t worker = scan.waitForAll() ? onlyWorker() : 0;
        return worker > 0 && kill(worker, SIGSTOP) == 0 ? worker : 0;
    }

    std::unique_ptr<ServiceHome> home_;
};

QTEST_GUILESS_MAIN(TestWorkers)
#include "tst_workers.moc"
