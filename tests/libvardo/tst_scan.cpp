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
    void callsInTheOrderOfTheWalk()
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
        QVERIFY(world.service.mostInFlight > 1 && world.service.mostInFlight <= 256);
        unsigned counted = 0;
        for (const Call& call : world.calls) {
            QVERIFY(call.thread == std::this_thread::get_id());
            counted += call.type == OBJTYPE_FILE && call.status != 0;
            QCOMPARE(call.filesCounted, counted);
        }
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
        QVERIFY(timer.elapsed() >= 450 && timer.elapsed() < 5000);
        QCOMPARE(world.files(true), Names{"slow 1"});
        QCOMPARE(world.statistics.scFiles, 1u);
    }

    void beatsAmongEmptyDirectories()
    {
        ScanWorld world;
        for (int i = 0; i < 50; ++i)
            world.directory(QByteArray::number(i));
        world.onCall = [](const Call& call) {
            QTest::qSleep(call.type == OBJTYPE_DIRECTORY ? 10 : 0);
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), 0);
        QVERIFY(world.beats() >= 3);
    }

    /// What has its verdict is told all the same; about the rest nothing is.
    void lostSessionIsAFailure()
    {
        ScanWorld world;
        world.write("1");
        world.write("2", "infected");
        world.write("3");
        world.service.backwards = true;
        world.service.loseAfter = 2;
        world.service.holding = true;
        world.onCall = [&world](const Call&) {
            world.service.holding = world.service.submitted < 3;
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), -1);
        QCOMPARE(world.error, std::string("the session is lost"));
        const Names told{"2 " + QByteArray::number(SCANSTAT_INFECTED),
                         "3 " + QByteArray::number(SCANSTAT_CLEAN)};
        QCOMPARE(world.files(true), told);
        QCOMPARE(world.statistics.scFiles, 2u);
        // A process is not clean for want of verdicts about its parts.
        world.service.loseAfter = 0;
        world.onCall = {};
        QCOMPARE(world.scanMemory(), -1);
        QVERIFY(std::ranges::count(world.calls, int(SCANSTAT_CLEAN), &Call::status) == 0);
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
            // What went ahead, and not what comes behind; a few may slip in before the walk hears of it.
            QVERIFY2(world.service.submitted < 400, qPrintable(QString::number(world.service.submitted)));
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

    /// What was found in it before stays found.
    void aChangingFileIsNotClean()
    {
        ScanWorld world;
        world.write("found", "infected");
        world.write("log", "growing");
        world.write("still", "at rest");
        world.service.whileScanning = [&world](const QByteArray& content) {
            if (content == "infected")
                world.write("found", "infected on");
            if (content == "growing")
                world.write("log", "growing on");
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names({"found 2", "log 8", "still 1"}));
        QCOMPARE(world.find("log")->remark, std::string("changed while it was scanned"));
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
        QVERIFY(world.calls.front().thread == std::this_thread::get_id());
        QCOMPARE(world.files(true), Names{"file 1"});

        world.service.loading = true;
        world.onCall = [](const Call&) { return static_cast<int>(CALLBACK_STOP); };
        QCOMPARE(world.scan(), int(SCANRESULT_CANCELLED));
        QCOMPARE(world.calls.size(), std::size_t{1});
        QCOMPARE(world.error, std::string());
    }

    void nothingHappensBehindAQuestion()
    {
        ScanWorld world;
        constexpr int count = 40;
        Names wanted;
        for (int i = 100; i < 100 + count; ++i) {
            wanted.append("bad-" + QByteArray::number(i));
            world.write(wanted.back(), "infected");
            world.write("good-" + QByteArray::number(i));
        }
        world.service.backwards = true;
        world.plan.action = SCANACT_PROMPT;
        Names asked;
        world.onPrompt = [&](const QByteArray& name, char*) {
            // Until then the workers have looked at all the files that are let in, and the last ones first.
            if (asked.isEmpty() && !QTest::qWaitFor([&] { return world.service.submitted == 2 * count; }))
                qFatal("the workers wait for the answer");
            const auto calls = world.calls.size();
            QTest::qWait(2);
            if (world.calls.size() != calls ||
                ScanWorld::list(world.path()).size() != 2 * count - asked.size())
                qFatal("something happened behind an open question");
            asked.append(name.mid(world.path().size() + 1));
            return static_cast<int>(PROMPT_DELETE);
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(asked, wanted);
        QCOMPARE(world.statistics.scDeleted, unsigned(count));
    }

    void stopsBeforeAnAnswerIsCarriedOut()
    {
        ScanWorld world;
        world.write("1", "infected");
        world.write("2", "infected");
        world.plan.action = SCANACT_PROMPT;
        int asked = 0;
        world.onPrompt = [&](const QByteArray&, char*) {
            ++asked;
            world.onCall = [](const Call&) { return static_cast<int>(CALLBACK_STOP); };
            return static_cast<int>(PROMPT_DELETE);
        };
        QCOMPARE(world.scan(), int(SCANRESULT_CANCELLED));
        QCOMPARE(asked, 1);
        QCOMPARE(ScanWorld::list(world.path()), Names({"1", "2"}));
        QCOMPARE(world.statistics.scDeleted, 0u);
    }
};

QTEST_GUILESS_MAIN(TestScan)
#include "tst_scan.moc"
