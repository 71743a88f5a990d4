#include "tests/libvardo/scanworld.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>

#include <sys/stat.h>

using Names = QList<QByteArray>;

class TestScan : public QObject
{
    Q_OBJECT

  private slots:
    void keepsTheOrderOfTheWalk()
    {
        ScanWorld world;
        world.service.backwards = true;
        Names names;
        for (int i = 0; i < 600; ++i) {
            names.append("file" + QByteArray::number(i));
            world.write(names.last());
        }
        std::sort(names.begin(), names.end());
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(), names);
        QVERIFY(world.service.mostInFlight > 1);
        QVERIFY(world.service.mostInFlight <= 256);
    }

    void callsOnItsOwnThreadAfterCounting()
    {
        ScanWorld world;
        for (const char* name : {"1", "2", "3"})
            world.write(name);
        QCOMPARE(world.scan(), 0);
        unsigned counted = 0;
        for (const Call& call : world.calls) {
            QVERIFY(call.thread == std::this_thread::get_id());
            counted += call.type == OBJTYPE_FILE && call.status != 0;
            QCOMPARE(call.filesCounted, counted);
        }
        QCOMPARE(world.calls.front().type, int(OBJTYPE_DIRECTORY));
    }

    void beatsWhileAFileIsSlow()
    {
        ScanWorld world;
        world.write("slow");
        world.service.holding = true;
        world.onCall = [&world](const Call&) {
            world.service.holding = world.beats() < 5;
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(world.scan(), 0);
        QVERIFY(world.beats() >= 5);
        QVERIFY(timer.elapsed() >= 450);
        QVERIFY(timer.elapsed() < 5000);
        QCOMPARE(world.files(true), Names{"slow 1"});
        QCOMPARE(world.statistics.scFiles, 1u);
    }

    /// From an object's call, and from a beat in the middle of a file.
    void stopsAtOnce()
    {
        for (const bool atBeat : {false, true}) {
            ScanWorld world;
            for (int i = 0; i < 1000; ++i)
                world.write("f" + QByteArray::number(i));
            world.service.holding = atBeat;
            world.onCall = [atBeat](const Call& call) {
                const bool stop = atBeat ? call.name.empty() : call.status == SCANSTAT_CLEAN;
                return static_cast<int>(stop ? CALLBACK_STOP : CALLBACK_CONTINUE);
            };
            QElapsedTimer timer;
            timer.start();
            QCOMPARE(world.scan(), int(SCANRESULT_CANCELLED));
            QVERIFY(timer.elapsed() < 5000);
            QCOMPARE(world.service.sessionsClosed.load(), 1);
            QCOMPARE(world.files().size(), atBeat ? 0 : 1); // and no call after the answer
            QVERIFY(world.service.submitted <= 258);
        }
    }

    void goesOnWhenARecordFails()
    {
        ScanWorld world;
        world.plan.action = SCANACT_QUARANTINE;
        world.write("1", "infected");
        world.write("2", "infected");
        world.onCall = [](const Call& call) {
            return static_cast<int>(call.status == SCANSTAT_QUARANTINED ? CALLBACK_RECORD_FAILED
                                                                        : CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.statistics.scQuarantined, 2u);
        QCOMPARE(world.recordFailures, 2u);
    }

    void aChangingFileIsNotClean()
    {
        ScanWorld world;
        world.write("log", "growing");
        world.write("still", "at rest");
        world.service.whileScanning = [&world](const QByteArray& content) {
            if (content == "growing")
                world.write("log", "growing on");
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names({"log 8", "still 1"}));
        QCOMPARE(world.find("log")->remark, std::string("changed while it was scanned"));

        // What was found in it before stays found.
        world.write("log", "infected");
        world.service.whileScanning = [&world](const QByteArray& content) {
            if (content == "infected")
                world.write("log", "infected on");
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.find("log")->status, int(SCANSTAT_INFECTED));
    }

    void tellsWhenNoSessionOpens()
    {
        QS_InterfaceScanStatistics statistics = {};
        vardo::ScanReporter reporter({}, {}, statistics);
        const vardo::SessionFactory refuses =
            [](const vardo::SessionOptions&, vardo::ScanSession::DoneHandler,
               const std::function<bool()>&) -> base::Result<std::unique_ptr<vardo::ScanSession>> {
            return base::Error{0, "no signatures"};
        };
        const auto end = vardo::runFileScan(refuses, {}, {"/"}, {}, reporter);
        QVERIFY(!end);
        QCOMPARE(end.error().text, std::string("no signatures"));
    }

    void beatsAndStopsWhileTheSessionOpens()
    {
        ScanWorld world;
        world.write("file");
        world.service.loading = true;
        world.onCall = [&world](const Call&) {
            world.service.loading = world.beats() < 3;
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), 0);
        QVERIFY(world.beats() >= 3);
        for (const Call& call : world.calls)
            QVERIFY(call.thread == std::this_thread::get_id());
        QCOMPARE(world.files(true), Names{"file 1"});

        world.service.loading = true;
        world.onCall = [](const Call&) { return static_cast<int>(CALLBACK_STOP); };
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(world.scan(), int(SCANRESULT_CANCELLED));
        QVERIFY(timer.elapsed() < 5000);
        QCOMPARE(world.calls.size(), std::size_t{1});
        QCOMPARE(world.error, std::string());
    }

    void staysSmall()
    {
        const auto residentKb = [] {
            const QByteArray status = ScanWorld::read("/proc/self/status");
            return status.mid(status.indexOf("VmRSS:") + 6).trimmed().split(' ').first().toLong();
        };
        ScanWorld world;
        for (int i = 0; i < 8; ++i) {
            const QByteArray directory = QByteArray::number(i);
            world.directory(directory);
            for (int j = 0; j < 1000; ++j)
                ::mknod(world.path(directory + "/" + QByteArray::number(j)).constData(), S_IFREG | 0644, 0);
        }
        long before = 0;
        long most = 0;
        world.onCall = [&](const Call& call) {
            if (call.filesCounted == 1000 && before == 0)
                before = residentKb();
            if (call.filesCounted % 1000 == 0)
                most = std::max(most, residentKb());
            if (world.calls.size() > 4) // the test's own memory must not grow either
                world.calls.clear();
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.statistics.scFiles, 8'000u);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("a sanitizer keeps freed memory");
#endif
        QVERIFY2(most - before < 1024, qPrintable(QString("grew by %1 KB").arg(most - before)));
    }
};

QTEST_GUILESS_MAIN(TestScan)
#include "tst_scan.moc"
