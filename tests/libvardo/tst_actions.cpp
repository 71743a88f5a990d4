#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using Names = QList<QByteArray>;

class TestActions : public QObject
{
    Q_OBJECT

  private slots:
    void logOnly();
    void deletes();
    void renames();
    void quarantines();
    void quarantinesTheArchive();
    void quarantinesAcrossFileSystems();
    void losesNothingOnAFullDisk();
    void refusesAnOpenQuarantine();
    void actsOnTheScannedFileAlone_data();
    void actsOnTheScannedFileAlone();
    void actsOnEveryHardLink();
    void tellsWhyItFailed();
    void cureFails_data();
    void cureFails();
    void asksOneAtATime();
    void takesThePromptsData();
    void suspectedIsLeftAlone();
    void stopsInTheMiddleOfACopy();
};

void TestActions::logOnly()
{
    ScanWorld world;
    world.write("bad", "infected");
    world.write("packed", "inner");
    world.write("locked", "encrypted");
    world.write("broken", "corrupt");
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names({"bad 2", "broken 131072", "locked 262144", "packed=>a.zip=>b.exe 2"}));
    QCOMPARE(world.calls[1].virus, std::string("Test.Virus"));
    QCOMPARE(ScanWorld::list(world.path()).size(), 4);
    const QS_InterfaceScanStatistics& statistics = world.statistics;
    QCOMPARE(statistics.scFiles, 4u);
    QCOMPARE(statistics.scInfected, 2u);
    QCOMPARE(statistics.scVirus, 2u);
    QCOMPARE(statistics.scEncrypted, 1u);
    QCOMPARE(statistics.scCorrupt, 1u);
    QCOMPARE(statistics.scClean, 0u);
}

void TestActions::deletes()
{
    ScanWorld world;
    world.write("bad", "infected");
    world.write("good");
    world.plan.action = SCANACT_DELETE;
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names({"bad 32", "good 1"}));
    QCOMPARE(ScanWorld::list(world.path()), Names{"good"});
    QCOMPARE(world.statistics.scDeleted, 1u);
    QCOMPARE(world.statistics.scVirus, 1u);
    QCOMPARE(world.find("bad")->virus, std::string("Test.Virus"));
}

void TestActions::renames()
{
    ScanWorld world;
    world.write("bad", "infected 1");
    world.write("bad.vir", "kept");
    world.write("bad-0.vir", "kept too");
    const QByteArray longName(254, 'l');
    world.write(longName, "infected 2");
    world.plan.action = SCANACT_RENAME;
    world.plan.extension = "vir";
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.find("bad")->status, int(SCANSTAT_RENAMED));
    QCOMPARE(world.find("bad")->remark, std::string("now named bad-1.vir"));
    QCOMPARE(ScanWorld::read(world.path("bad-1.vir")), QByteArray("infected 1"));
    QCOMPARE(ScanWorld::read(world.path("bad.vir")), QByteArray("kept"));
    QCOMPARE(ScanWorld::read(world.path("bad-0.vir")), QByteArray("kept too"));
    QCOMPARE(ScanWorld::read(world.path(QByteArray(251, 'l') + ".vir")), QByteArray("infected 2"));
    QCOMPARE(world.statistics.scRenamed, 2u);
}

void TestActions::quarantines()
{
    ScanWorld world;
    world.directory("one");
    world.directory("two");
    world.directory("three");
    for (const char* name : {"one/bad", "three/bad", "two/bad"})
        world.write(name, QByteArray("infected ") + name);
    ::chmod(world.path("one/bad").constData(), 04755);
    world.plan.action = SCANACT_QUARANTINE;
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names({"one/bad 64", "three/bad 64", "two/bad 64"}));
    const QByteArray quarantine = world.path("../quarantine");
    QCOMPARE(ScanWorld::list(quarantine), Names({"bad", "bad-0", "bad-1"}));
    QCOMPARE(ScanWorld::read(quarantine + "/bad"), QByteArray("infected one/bad"));
    QCOMPARE(ScanWorld::read(quarantine + "/bad-0"), QByteArray("infected three/bad"));
    struct stat status = {};
    QCOMPARE(::stat((quarantine + "/bad").constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777, 0600u);
    QVERIFY(!world.find("one/bad")->virus.empty());
    QCOMPARE(world.statistics.scQuarantined, 3u);
}

void TestActions::quarantinesTheArchive()
{
    ScanWorld world;
    world.write("a=>b.zip", "inner");
    world.plan.action = SCANACT_QUARANTINE;
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names{"a=>b.zip 64"});
    QCOMPARE(world.find("a=>b.zip")->remark, std::string("found in a.zip=>b.exe"));
    QCOMPARE(ScanWorld::list(world.path("../quarantine")), Names{"a=>b.zip"});
}

void TestActions::quarantinesAcrossFileSystems()
{
    struct stat here = {};
    struct stat there = {};
    ScanWorld world;
    if (::stat(world.path().constData(), &here) != 0 || ::stat("/dev/shm", &there) != 0 ||
        here.st_dev == there.st_dev)
        QSKIP("needs a second file system at /dev/shm");
    QTemporaryDir other("/dev/shm/vardo-test-XXXXXX");
    world.plan.quarantineDir = other.path().toStdString();
    world.plan.action = SCANACT_QUARANTINE;
    const QByteArray content = "infected" + QByteArray(3'000'000, 'x');
    const QByteArray file = world.write("bad", content);
    world.write(other.path().toLocal8Bit() + "/bad", "older");
    if (::geteuid() == 0)
        QCOMPARE(::chown(file.constData(), 1234, 1235), 0);
    const timespec times[] = {{1'000'000'000, 0}, {1'100'000'000, 5}};
    QCOMPARE(::utimensat(AT_FDCWD, file.constData(), times, 0), 0);

    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names{"bad 64"});
    QCOMPARE(ScanWorld::list(world.path()), Names{});
    QCOMPARE(ScanWorld::list(other.path().toLocal8Bit()), Names({"bad", "bad-0"}));
    struct stat status = {};
    QCOMPARE(::stat((other.path().toLocal8Bit() + "/bad-0").constData(), &status), 0);
    QCOMPARE(status.st_size, content.size());
    QCOMPARE(status.st_mode & 07777, 0600u);
    QCOMPARE(status.st_mtim.tv_sec, 1'100'000'000);
    if (::geteuid() == 0)
        QCOMPARE(status.st_uid, 1234u);
}

void TestActions::losesNothingOnAFullDisk()
{
    ScanWorld world;
    world.directory("../small");
    const QByteArray small = world.path("../small");
    const QByteArray content = "infected" + QByteArray(200'000, 'x');
    world.write("bad", content);
    world.plan.action = SCANACT_QUARANTINE;
    world.plan.quarantineDir = small.toStdString();
    // The mount stays in a process of its own.
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", small.constData(), "tmpfs", 0, "size=64k,mode=0700") != 0)
            ::_exit(77);
        const bool ended = world.scan() == 0;
        const bool told = world.files(true) == Names{"bad 1024"} &&
                          world.find("bad")->remark == "No space left on device" &&
                          world.statistics.scActionError == 1;
        const bool whole = QByteArray(ScanWorld::read(world.path("bad"))) == content.left(4096);
        const bool swept = ScanWorld::list(small).isEmpty();
        ::_exit((ended ? 0 : 1) | (told ? 0 : 2) | (whole ? 0 : 4) | (swept ? 0 : 8));
    }
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        QSKIP("needs the right to mount");
    QCOMPARE(WEXITSTATUS(status), 0);
    QCOMPARE(ScanWorld::list(world.path()), Names{"bad"});
}

void TestActions::refusesAnOpenQuarantine()
{
    ScanWorld world;
    world.write("bad", "infected");
    world.plan.action = SCANACT_QUARANTINE;
    world.directory("../quarantine");
    ::chmod(world.path("../quarantine").constData(), 0777);
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names{"bad 1024"});

    // Nor is a link followed that stands in its place.
    QCOMPARE(::rmdir(world.path("../quarantine").constData()), 0);
    world.directory("../elsewhere");
    QCOMPARE(::symlink("elsewhere", world.path("../quarantine").constData()), 0);
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names{"bad 1024"});
    QCOMPARE(ScanWorld::list(world.path("../elsewhere")), Names{});
}

void TestActions::actsOnTheScannedFileAlone_data()
{
    QTest::addColumn<unsigned>("action");
    QTest::addColumn<QByteArray>("change");
    for (const unsigned action : {SCANACT_DELETE, SCANACT_RENAME, SCANACT_QUARANTINE}) {
        for (const char* change : {"replaced", "rewritten", "linked", "gone"})
            QTest::addRow("%u %s", action, change) << action << QByteArray(change);
    }
}

/// The file changes between the scan and the act: while the scan stands at an earlier object.
void TestActions::actsOnTheScannedFileAlone()
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
        QVERIFY(ScanWorld::read(bad).startsWith("precious"));
    QVERIFY(!ScanWorld::list(world.path("../quarantine")).contains("bad"));
}

void TestActions::actsOnEveryHardLink()
{
    for (const unsigned action : {SCANACT_DELETE, SCANACT_RENAME, SCANACT_QUARANTINE}) {
        ScanWorld world;
        world.write("a", "infected");
        for (const char* name : {"b", "c"})
            QCOMPARE(::link(world.path("a").constData(), world.path(name).constData()), 0);
        world.plan.action = action;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.statistics.scActionError, 0u);
        QCOMPARE(world.statistics.scDeleted + world.statistics.scRenamed + world.statistics.scQuarantined,
                 3u);
    }
}

void TestActions::tellsWhyItFailed()
{
    if (::geteuid() != 0)
        QSKIP("needs root to make a file that is not ours");
    ScanWorld world;
    world.write("bad", "infected");
    world.plan.action = SCANACT_DELETE;
    QCOMPARE(::seteuid(65534), 0);
    const int result = world.scan();
    QCOMPARE(::seteuid(0), 0);
    QCOMPARE(result, 0);
    QCOMPARE(world.files(true), Names{"bad 512"});
    QCOMPARE(world.find("bad")->remark, std::string("Permission denied"));
    QCOMPARE(world.find("bad")->virus, std::string("Test.Virus"));
}

void TestActions::cureFails_data()
{
    QTest::addColumn<unsigned>("action");
    QTest::addColumn<int>("status");
    QTest::newRow("log") << unsigned(SCANACT_LOG) << int(SCANSTAT_CURE_FAILED);
    QTest::newRow("delete") << unsigned(SCANACT_DELETE) << int(SCANSTAT_DELETED);
    QTest::newRow("prompt") << unsigned(SCANACT_PROMPT) << int(SCANSTAT_INFECTED);
}

void TestActions::cureFails()
{
    QFETCH(unsigned, action);
    QFETCH(int, status);
    ScanWorld world;
    world.write("bad", "infected");
    world.write("odd", "suspected");
    world.plan.action = action;
    world.plan.disinfect = true;
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.find("bad")->status, status);
    QCOMPARE(world.files().count("bad"), 1);
    QCOMPARE(world.statistics.scCureFailed, 1u);
    QCOMPARE(world.statistics.scCured, 0u);
    QCOMPARE(world.find("odd")->status, int(SCANSTAT_SUSPECTED));
}

void TestActions::asksOneAtATime()
{
    ScanWorld world;
    for (const char* name : {"1-nothing", "2-delete", "3-rename", "4-quarantine", "5-close"})
        world.write(name, "infected");
    world.write("6-clean");
    world.write("7-suspected", "suspected");
    world.write("8-inner", "inner");
    world.plan.action = SCANACT_PROMPT;
    Names asked;
    bool open = false;
    world.onPrompt = [&](const QByteArray& name, char*) {
        if (open)
            qFatal("two questions at once");
        open = true;
        QTest::qWait(20);
        open = false;
        asked.append(name.mid(world.path().size() + 1));
        const int answers[] = {PROMPT_NOTHING, PROMPT_DELETE, PROMPT_RENAME, PROMPT_QUARANTINE, PROMPT_CLOSE};
        return asked.size() <= 5 ? answers[asked.size() - 1] : static_cast<int>(PROMPT_DELETE);
    };
    QCOMPARE(world.scan(), 0);
    QCOMPARE(asked, Names({"1-nothing", "2-delete", "3-rename", "4-quarantine", "5-close", "7-suspected",
                           "8-inner=>a.zip=>b.exe"}));
    QCOMPARE(world.files(true), Names({"1-nothing 2", "2-delete 32", "3-rename 128", "4-quarantine 64",
                                       "5-close 2", "6-clean 1", "7-suspected 32", "8-inner 32"}));
    QCOMPARE(ScanWorld::list(world.path()), Names({"1-nothing", "3-rename.qst", "5-close", "6-clean"}));
    QCOMPARE(world.statistics.scSuspicious, 1u);
    QCOMPARE(world.statistics.scDeleted, 3u);
}

void TestActions::takesThePromptsData()
{
    ScanWorld world;
    world.directory("../chosen");
    world.write("1", "infected");
    world.write("2", "infected");
    world.write("3", "infected");
    world.plan.action = SCANACT_PROMPT;
    world.onPrompt = [&, count = 0](const QByteArray&, char* data) mutable {
        switch (++count) {
        case 1:
            qstrcpy(data, "own");
            return static_cast<int>(PROMPT_RENAME);
        case 2: // no extension: it would lead elsewhere
            qstrcpy(data, "x/../../../escaped");
            return static_cast<int>(PROMPT_RENAME);
        default:
            qstrcpy(data, world.path("../chosen").constData());
            return static_cast<int>(PROMPT_QUARANTINE);
        }
    };
    QCOMPARE(world.scan(), 0);
    QCOMPARE(ScanWorld::list(world.path()), Names({"1.own", "2.qst"}));
    QCOMPARE(ScanWorld::list(world.path("../chosen")), Names{"3"});
}

void TestActions::suspectedIsLeftAlone()
{
    ScanWorld world;
    world.write("odd", "suspected");
    world.write("locked", "encrypted");
    world.plan.action = SCANACT_DELETE;
    QCOMPARE(world.scan(), 0);
    QCOMPARE(world.files(true), Names({"locked 262144", "odd 4"}));
    QCOMPARE(ScanWorld::list(world.path()).size(), 2);
    QCOMPARE(world.statistics.scSuspicious, 1u);
}

void TestActions::stopsInTheMiddleOfACopy()
{
    ScanWorld world;
    const QByteArray bad = world.write("bad", "infected");
    QCOMPARE(::truncate(bad.constData(), 1 << 26), 0);
    world.directory("../q");
    const int directory = ::open(world.path().constData(), O_RDONLY | O_DIRECTORY);
    const int fd = ::open(bad.constData(), O_RDONLY);
    struct stat status = {};
    QCOMPARE(::fstat(fd, &status), 0);
    const vardo::ScannedFile file{directory, "bad", fd, vardo::fileId(status)};
    int beats = 0;
    const auto result =
        vardo::copyToQuarantine(file, world.path("../q").toStdString(), [&beats] { return ++beats < 3; });
    ::close(fd);
    ::close(directory);
    QVERIFY(!result);
    QCOMPARE(beats, 3);
    QCOMPARE(ScanWorld::list(world.path()), Names{"bad"});
    QCOMPARE(ScanWorld::list(world.path("../q")), Names{});
}

QTEST_GUILESS_MAIN(TestActions)
#include "tst_actions.moc"
