#include "libvardo/quarantinefile.h"
#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <atomic>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Names = QList<QByteArray>;

namespace {

std::atomic<int> slowDisk = 0;      ///< milliseconds that it takes
std::function<void()> atLastMoment; ///< called once, before a file named "bad" is moved or removed

void beforeUseOf(const char* name)
{
    if (qstrcmp(name, "bad") == 0 && atLastMoment)
        std::exchange(atLastMoment, {})();
}

} // namespace

extern "C" int renameat2(int from, const char* name, int to, const char* newName, unsigned flags)
{
    beforeUseOf(name);
    return static_cast<int>(::syscall(SYS_renameat2, from, name, to, newName, flags));
}

extern "C" int unlinkat(int directory, const char* name, int flags)
{
    beforeUseOf(name);
    return static_cast<int>(::syscall(SYS_unlinkat, directory, name, flags));
}

extern "C" int fsync(int fd)
{
    ::usleep(1000u * static_cast<unsigned>(slowDisk));
    return static_cast<int>(::syscall(SYS_fsync, fd));
}

/// Files that change between the scan and what is done about them, and while it is done.
class TestLateChanges : public QObject
{
    Q_OBJECT

  private slots:
    void actsOnTheScannedFileAlone_data()
    {
        QTest::addColumn<unsigned>("action");
        QTest::addColumn<QByteArray>("change");
        for (const unsigned action : {SCANACT_DELETE, SCANACT_RENAME, SCANACT_QUARANTINE}) {
            for (const char* change : {"replaced", "rewritten", "linked", "gone", "appended"})
                QTest::addRow("%u %s", action, change) << action << QByteArray(change);
        }
    }

    /// The file changes between the scan and the act: while the scan stands at an earlier object.
    void actsOnTheScannedFileAlone()
    {
        QFETCH(unsigned, action);
        QFETCH(QByteArray, change);
        ScanWorld world;
        world.write("a", "infected a");
        const QByteArray bad = world.write("bad", "infected b");
        const QByteArray precious = world.write("../precious", "precious");
        world.plan.action = action;
        world.onCall = [&](const Call& call) {
            if (call.name != world.path("a").toStdString())
                return static_cast<int>(CALLBACK_CONTINUE);
            // By now the walk is over and "bad" is scanned.
            while (world.service.submitted < 2)
                QTest::qWait(5);
            QTest::qWait(50);
            if (change == "replaced") {
                world.write("new", "precious");
                ::rename(world.path("new").constData(), bad.constData());
            } else if (change == "rewritten") {
                world.write("bad", "precious b");
            } else if (change == "appended") {
                const int fd = ::open(bad.constData(), O_WRONLY | O_APPEND);
                (void)!::write(fd, " precious", 9);
                ::close(fd);
            } else {
                ::unlink(bad.constData());
                if (change == "linked" && ::symlink(precious.constData(), bad.constData()) != 0)
                    return static_cast<int>(CALLBACK_STOP);
            }
            return static_cast<int>(CALLBACK_CONTINUE);
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.statistics.scActionError, 1u);
        QCOMPARE(ScanWorld::read(precious), QByteArray("precious"));
        if (change != "gone")
            QVERIFY(ScanWorld::read(bad).contains("precious"));
        QVERIFY(!ScanWorld::list(world.path("../quarantine")).contains("bad"));
    }

    /// What is exchanged after the last look stays, and so does what takes its place when it comes back.
    void deletesNothingElseAtTheLastMoment()
    {
        for (const bool taken : {false, true}) {
            ScanWorld world;
            const QByteArray bad = world.write("bad", "infected");
            world.plan.action = SCANACT_DELETE;
            atLastMoment = [&] {
                ::rename(world.write("new", "precious").constData(), bad.constData());
                if (taken)
                    atLastMoment = [&] { world.write("bad", "newer"); };
            };
            QCOMPARE(world.scan(), 0);
            QCOMPARE(world.statistics.scActionError, 1u);
            QCOMPARE(ScanWorld::list(world.path()), taken ? Names({"bad", "bad-0"}) : Names{"bad"});
            QCOMPARE(ScanWorld::read(world.path(taken ? "bad-0" : "bad")), QByteArray("precious"));
        }
    }

    void undoesAHalfCopy_data()
    {
        QTest::addColumn<QByteArray>("event");
        QTest::addColumn<int>("error");
        QTest::newRow("stopped") << QByteArray("stopped") << ECANCELED;
        QTest::newRow("written to") << QByteArray("written") << ESTALE;
        QTest::newRow("replaced") << QByteArray("replaced") << ESTALE;
        QTest::newRow("made longer") << QByteArray("longer") << ESTALE;
    }

    /// Something happens in the middle of the copy of a file that has another name too.
    void undoesAHalfCopy()
    {
        QFETCH(QByteArray, event);
        ScanWorld world;
        const QByteArray bad = world.write("bad", "infected");
        QCOMPARE(::truncate(bad.constData(), 8 << 20), 0);
        QCOMPARE(::link(bad.constData(), world.path("../other").constData()), 0);
        world.directory("../q");
        const int directory = ::open(world.path().constData(), O_RDONLY | O_DIRECTORY);
        const int fd = ::open(bad.constData(), O_RDWR);
        struct stat status = {};
        QCOMPARE(::fstat(fd, &status), 0);
        const vardo::ScannedFile file{directory, "bad", fd, vardo::fileId(status)};
        int beats = 0;
        const auto onBeat = [&] {
            if (++beats == 3 && event == "written")
                return ::write(fd, "precious", 8) == 8;
            if (beats == 3 && event == "longer")
                return ::ftruncate(fd, 256 << 20) == 0;
            if (beats == 3 && event == "replaced")
                return ::rename(world.write("new", "precious").constData(), bad.constData()) == 0;
            return beats < 3 || event != "stopped";
        };
        const auto result =
            vardo::quarantineFile(file, "Test.Virus", world.path("../q").toStdString(), onBeat);
        ::close(fd);
        ::close(directory);
        // A beat is a megabyte, and comes by the clock while a slow disk writes: far from all 256 were
        // copied.
        QVERIFY(!result && beats >= 3 && beats < 200);
        QTEST(result.error().code, "error");
        QCOMPARE(ScanWorld::list(world.path()), Names{"bad"});
        QCOMPARE(ScanWorld::read(bad).startsWith("precious"), event == "written" || event == "replaced");
        QCOMPARE(ScanWorld::list(world.path("../q")), Names{".restore"});
        QCOMPARE(ScanWorld::list(world.path("../q/.restore")), Names{});
    }

    void beatsWhileTheDiskWrites()
    {
        ScanWorld world;
        world.write("bad", "infected");
        QCOMPARE(::link(world.path("bad").constData(), world.path("other").constData()),
                 0); // so it is copied
        world.plan.action = SCANACT_QUARANTINE;
        slowDisk = 400;
        const int result = world.scan({world.path("bad").toStdString()});
        slowDisk = 0;
        QCOMPARE(result, 0);
        QCOMPARE(world.statistics.scQuarantined, 1u);
        QVERIFY(world.beats() >= 3);
    }
};

QTEST_GUILESS_MAIN(TestLateChanges)
#include "tst_latechanges.moc"
