#include "libvardo/quarantinefile.h"
#include "quarantine/restore.h"
#include "quarantine/rightsof.h"
#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <atomic>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Names = QList<QByteArray>;

namespace {

constexpr uid_t nobody = 65534;

std::atomic<int> slowDisk = 0;      ///< milliseconds that it takes
std::function<void()> atLastMoment; ///< called once, before a file named "bad" is moved or removed

/// Mounts of this process alone; false when it may not mount.
bool makeOwnMounts()
{
    return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Something mounted for as long as this lives: a file system of that size, or the same one read-only.
class Mount
{
  public:
    Mount(const QByteArray& path, const char* size)
        : path_(path)
        , done_(::mount("none", path.constData(), "tmpfs", 0, size) == 0)
    {
    }
    explicit Mount(const QByteArray& path)
        : path_(path)
        , done_(::mount(path.constData(), path.constData(), nullptr, MS_BIND, nullptr) == 0 &&
                ::mount(nullptr, path.constData(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0)
    {
    }
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;
    ~Mount() { ::umount2(path_.constData(), MNT_DETACH); }
    explicit operator bool() const { return done_; }

  private:
    const QByteArray path_;
    const bool done_;
};

/// The files as "NAME MODE", with a "!" where the content does not begin with `content`.
Names filesWithModes(const QByteArray& directory, const QByteArray& content)
{
    Names result;
    for (const QByteArray& name : ScanWorld::list(directory)) {
        struct stat status = {};
        const QByteArray path = directory + "/" + name;
        if (::lstat(path.constData(), &status) != 0 || S_ISDIR(status.st_mode))
            continue;
        const bool whole = ScanWorld::read(path).startsWith(content.left(4096));
        result.append(name + " " + QByteArray::number(status.st_mode & 07777, 8) + (whole ? "" : "!"));
    }
    return result;
}

/// What was counted of one file, apart from the file itself.
QByteArray counted(const QS_InterfaceScanStatistics& s)
{
    QByteArray words;
    for (const auto& [word, count] :
         std::initializer_list<std::pair<const char*, unsigned>>{{"infected", s.scInfected},
                                                                 {"virus", s.scVirus},
                                                                 {"clean", s.scClean},
                                                                 {"suspicious", s.scSuspicious},
                                                                 {"encrypted", s.scEncrypted},
                                                                 {"unscanned", s.scScanError},
                                                                 {"cured", s.scCured},
                                                                 {"uncured", s.scCureFailed},
                                                                 {"deleted", s.scDeleted},
                                                                 {"renamed", s.scRenamed},
                                                                 {"quarantined", s.scQuarantined},
                                                                 {"failed", s.scActionError}}) {
        if (count == s.scFiles)
            words.append(' ').append(word);
        else if (count > 0)
            words.append(" too many ").append(word);
    }
    return words.mid(1);
}

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

class TestActions : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase() { mounts_ = makeOwnMounts(); }

    void outcome_data()
    {
        QTest::addColumn<unsigned>("action");
        QTest::addColumn<QByteArray>("place");
        QTest::addColumn<QByteArray>("report"); // status, remark
        QTest::addColumn<QByteArray>("counters");
        QTest::addColumn<QByteArray>("left"); // in the tree | in quarantine
        const struct
        {
            unsigned action;
            const char* place;
            const char* report;
            const char* counters;
            const char* left;
        } rows[] = {
            {SCANACT_LOG, "here", "2 ", "infected virus", "bad 4755|"},
            {SCANACT_DELETE, "here", "32 ", "infected virus deleted", "|"},
            {SCANACT_RENAME, "here", "128 now named bad.qst", "infected virus renamed", "bad.qst 4755|"},
            {SCANACT_QUARANTINE, "here", "64 ", "infected virus quarantined", "|bad 600"},
            {SCANACT_PROMPT, "here", "2 ", "infected virus", "bad 4755|"},
            {SCANACT_DELETE, "encrypted", "262144 ", "encrypted", "bad 4755|"},
            {SCANACT_DELETE, "suspected", "4 ", "suspicious", "bad 4755|"},
            {SCANACT_LOG, "uncured", "256 ", "infected virus uncured", "bad 4755|"},
            {SCANACT_DELETE, "uncured", "32 ", "infected virus uncured deleted", "|"},
            {SCANACT_RENAME, "uncured", "128 now named bad.qst", "infected virus uncured renamed",
             "bad.qst 4755|"},
            {SCANACT_QUARANTINE, "uncured", "64 ", "infected virus uncured quarantined", "|bad 600"},
            {SCANACT_PROMPT, "uncured", "2 ", "infected virus uncured", "bad 4755|"},
            {SCANACT_DELETE, "read-only", "512 Read-only file system", "infected virus failed", "bad 4755|"},
            {SCANACT_RENAME, "read-only", "2048 Read-only file system", "infected virus failed", "bad 4755|"},
            {SCANACT_QUARANTINE, "read-only", "1024 Read-only file system", "infected virus failed",
             "bad 4755|"},
            {SCANACT_QUARANTINE, "full", "1024 No space left on device", "infected virus failed",
             "bad 4755|"},
            {SCANACT_QUARANTINE, "elsewhere", "64 ", "infected virus quarantined", "|bad 600"},
            {SCANACT_DELETE, "forbidden", "512 Permission denied", "infected virus failed", "bad 4755|"},
            {SCANACT_RENAME, "forbidden", "2048 Permission denied", "infected virus failed", "bad 4755|"},
            {SCANACT_QUARANTINE, "forbidden", "1024 Permission denied", "infected virus failed", "bad 4755|"},
            {SCANACT_QUARANTINE, "linked", "64 ", "infected virus quarantined", "|bad 600"},
            {SCANACT_QUARANTINE, "written to by others", "64 ", "infected virus quarantined", "|bad 600"},
            {SCANACT_QUARANTINE, "open", "1024 everybody may write to the quarantine directory",
             "infected virus failed", "bad 4755|"},
            {SCANACT_QUARANTINE, "led away", "1024 Not a directory", "infected virus failed", "bad 4755|"},
            {SCANACT_QUARANTINE, "led elsewhere by root", "64 ", "infected virus quarantined", "|bad 600"},
            // Nobody could put it back.
            {SCANACT_QUARANTINE, "without notes", "1024 its origin could not be noted: Not a directory",
             "infected virus failed", "bad 4755|.restore 644!"},
        };
        const char* actions[] = {"log", "delete", "rename", "quarantine", "prompt"};
        for (const auto& row : rows)
            QTest::addRow("%s %s", actions[row.action], row.place)
                << row.action << QByteArray(row.place) << QByteArray(row.report) << QByteArray(row.counters)
                << QByteArray(row.left);
    }

    /// Each action under each circumstance: what is reported, counted and left on the disk. What went into
    /// quarantine comes back as it was, but never set-uid.
    void outcome()
    {
        QFETCH(unsigned, action);
        QFETCH(QByteArray, place);
        ScanWorld world;
        const QByteArray verdict = place == "encrypted" || place == "suspected" ? place : "infected";
        const QByteArray content = verdict + QByteArray(200'000, 'x');
        const QByteArray bad = world.write("bad", content);
        const QByteArray quarantine = world.path("../quarantine");
        world.directory("../quarantine");
        if (::geteuid() == 0)
            QCOMPARE(::chown(bad.constData(), 1234, 1235), 0);
        const bool shared = place == "written to by others";
        QCOMPARE(::chmod(bad.constData(), shared ? 04775 : 04755), 0);
        const base::UniqueFd writer(shared ? ::open(bad.constData(), O_WRONLY) : -1);
        const timespec times[] = {{1'000'000'000, 0}, {1'100'000'000, 5}};
        QCOMPARE(::utimensat(AT_FDCWD, bad.constData(), times, 0), 0);

        std::optional<Mount> mount;
        if (place == "read-only")
            mount.emplace(world.path());
        else if (place == "full" || place == "elsewhere")
            mount.emplace(quarantine, place == "full" ? "size=64k,mode=0700" : "mode=0700");
        if (mount && !(mounts_ && *mount))
            QSKIP("needs the right to mount");
        const bool forbidden = place == "forbidden";
        if (forbidden && (::geteuid() != 0 || ::chown(quarantine.constData(), nobody, nobody) != 0))
            QSKIP("needs root to make a file that is not ours");
        if (place == "linked")
            QCOMPARE(::link(bad.constData(), world.path("../other").constData()), 0);
        else if (place == "open")
            QCOMPARE(::chmod(quarantine.constData(), 0777), 0);
        else if (place == "without notes")
            QCOMPARE(::chmod(world.write("../quarantine/.restore", "planted").constData(), 0644), 0);
        else if (place.startsWith("led ")) {
            if (::geteuid() != 0)
                QSKIP("needs root to make links of different people");
            QVERIFY(::rename(quarantine.constData(), world.path("../elsewhere").constData()) == 0 &&
                    ::symlink("elsewhere", quarantine.constData()) == 0 &&
                    ::lchown(quarantine.constData(), place == "led away" ? nobody : 0, 0) == 0);
        }

        world.plan.action = action;
        world.plan.disinfect = place == "uncured";
        {
            const quarantine::RightsOf rights(forbidden ? nobody : ::geteuid());
            QCOMPARE(world.scan(), 0);
        }
        if (writer)
            QCOMPARE(::write(writer.get(), "changed", 7), 7);
        const Call* call = world.find("bad");
        QVERIFY(call && world.files().size() == 1);
        QTEST(QByteArray::number(call->status) + " " + QByteArray::fromStdString(call->remark), "report");
        QCOMPARE(call->virus.empty(), place == "encrypted");
        QTEST(counted(world.statistics), "counters");
        QTEST(filesWithModes(world.path(), content).join(' ') + "|" +
                  filesWithModes(quarantine, content).join(' '),
              "left");
        if (place == "linked")
            QVERIFY(filesWithModes(world.path(".."), content).contains("other 4755"));
        if (call->status != SCANSTAT_QUARANTINED)
            return;

        const int directory = ::open(quarantine.constData(), O_RDONLY | O_DIRECTORY);
        const auto restored = quarantine::restoreFile(directory, "bad");
        ::close(directory);
        QVERIFY2(restored, restored ? "" : restored.error().text.c_str());
        QCOMPARE(QByteArray::fromStdString(restored.value()), bad);
        QCOMPARE(filesWithModes(world.path(), content), Names{shared ? "bad 775" : "bad 755"});
        QCOMPARE(ScanWorld::list(quarantine), Names{".restore"});
        QCOMPARE(ScanWorld::list(quarantine + "/.restore"), Names{});
        struct stat status = {};
        QCOMPARE(::stat(bad.constData(), &status), 0);
        QCOMPARE(status.st_size, content.size());
        QCOMPARE(status.st_mtim.tv_sec, times[1].tv_sec);
        QCOMPARE(status.st_mtim.tv_nsec, times[1].tv_nsec);
        if (::geteuid() == 0)
            QCOMPARE(std::pair(status.st_uid, status.st_gid), std::pair(1234u, 1235u));
    }

    void neverTakesATakenName()
    {
        ScanWorld world;
        for (const char* directory : {"../quarantine", "one", "two"})
            world.directory(directory);
        const QByteArray longName(254, 'l');
        for (const char* name : {"one/bad", "two/bad"})
            world.write(name, QByteArray("infected ") + name);
        world.write("one/" + longName, "infected");
        for (const char* name : {"one/bad.vir", "one/bad-0.vir", "../quarantine/bad", "../quarantine/bad-1"})
            world.write(name, "taken");
        world.plan.extension = "vir";
        world.plan.action = SCANACT_RENAME;
        QCOMPARE(world.scan({world.path("one").toStdString()}), 0);
        QCOMPARE(world.find("one/bad")->remark, std::string("now named bad-1.vir"));
        QCOMPARE(ScanWorld::list(world.path("one")),
                 Names({"bad-0.vir", "bad-1.vir", "bad.vir", longName.left(251) + ".vir"}));

        world.plan.action = SCANACT_QUARANTINE;
        QCOMPARE(world.scan(), 0);
        const QByteArray quarantine = world.path("../quarantine");
        QCOMPARE(ScanWorld::list(quarantine).mid(1),
                 Names({"bad", "bad-0", "bad-1", "bad-1.vir", longName.left(251) + ".vir"}));
        for (const QByteArray& taken : {world.path("one/bad.vir"), world.path("one/bad-0.vir"),
                                        quarantine + "/bad", quarantine + "/bad-1"})
            QCOMPARE(ScanWorld::read(taken), QByteArray("taken"));
        QCOMPARE(ScanWorld::read(quarantine + "/bad-0"), QByteArray("infected two/bad"));
    }

    /// A free name is found soon, however many the others are.
    void takesANameOfALongSeries()
    {
        ScanWorld world;
        world.directory("../quarantine");
        world.write("bad", "infected");
        for (int i = -1; i < 2100; ++i)
            world.write("../quarantine/bad" + (i < 0 ? QByteArray() : "-" + QByteArray::number(i)), "taken");
        world.plan.action = SCANACT_QUARANTINE;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(ScanWorld::read(world.path("../quarantine/bad-2100")), QByteArray("infected"));
    }

    void quarantinesTheArchive()
    {
        ScanWorld world;
        world.write("a=>b.zip", "inner");
        world.plan.action = SCANACT_QUARANTINE;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.files(true), Names{"a=>b.zip 64"});
        QCOMPARE(world.find("a=>b.zip")->remark, std::string("found in a.zip=>b.exe"));
        QCOMPARE(ScanWorld::list(world.path("../quarantine")), Names({".restore", "a=>b.zip"}));
    }

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

    void actsOnEveryHardLink()
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

    /// In layers, as in a container, a file with two names becomes another one when it is moved.
    void actsInLayers()
    {
        if (!mounts_)
            QSKIP("needs mounts");
        for (const unsigned action : {SCANACT_DELETE, SCANACT_RENAME}) {
            ScanWorld world;
            world.directory("../upper");
            const Mount upper(world.path("../upper"), "size=1m");
            for (const char* name : {"../upper/u", "../upper/w", "../lower"})
                world.directory(name);
            const QByteArray bad = world.write("../lower/bad", "infected");
            QCOMPARE(::link(bad.constData(), world.path("../lower/too").constData()), 0);
            const QByteArray layers = "lowerdir=" + world.path("../lower") +
                                      ",upperdir=" + world.path("../upper/u") +
                                      ",workdir=" + world.path("../upper/w");
            if (::mount("none", world.path().constData(), "overlay", 0, layers.constData()) != 0)
                QSKIP("there are no layers here");
            world.plan.action = action;
            const int result = world.scan();
            ::umount2(world.path().constData(), MNT_DETACH);
            QCOMPARE(result, 0);
            QCOMPARE(world.statistics.scDeleted + world.statistics.scRenamed, 2u);
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
        QVERIFY(!result && beats >= 3 && beats <= 8); // a beat is a megabyte
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

    /// A mail folder stays, with all that is not infected in it.
    void leavesMailFoldersAlone()
    {
        const QByteArray mail = "From a@b Mon Jan  1 00:00:00 2024\nSubject: infected\n\nHello\n\n";
        const struct
        {
            const char* name;
            QByteArray content;
            bool folder = false;
            mode_t mode = 0644;
        } rows[] = {{"mbox", mail + mail, true},
                    {"dos", QByteArray(mail + mail).replace("\n", "\r\n"), true},
                    {"long", mail + QByteArray(3 << 20, 'x') + "\n\n" + mail, true},
                    {"pst", QByteArray("!BDN\0\0\0\0SM\x17\0", 12), true},
                    {"one", mail},
                    {"quoted", mail + ">" + mail},
                    {"text", mail + "From here on\nnothing\n"},
                    {"program", mail + mail, false, 0755}};
        for (const bool acts : {false, true}) {
            ScanWorld world;
            QList<QByteArray> expected;
            for (const auto& row : rows) {
                QCOMPARE(::chmod(world.write(row.name, row.content).constData(), row.mode), 0);
                expected.append(row.name + QByteArray(row.folder && !acts ? " 2" : " 32"));
            }
            std::sort(expected.begin(), expected.end());
            world.service.infectsAll = true;
            world.plan.action = SCANACT_DELETE;
            world.plan.mailFolders = acts;
            QCOMPARE(world.scan(), 0);
            QCOMPARE(world.files(true), expected);
            QVERIFY(acts || world.find("mbox")->remark == "left alone: it holds other mails too");
        }
    }

    void renamesOnce()
    {
        ScanWorld world;
        world.write("bad", "infected");
        world.plan.action = SCANACT_RENAME;
        QCOMPARE(world.scan(), 0);
        QCOMPARE(world.scan(), 0);
        QCOMPARE(ScanWorld::list(world.path()), Names{"bad.qst"});
        QCOMPARE(world.find("bad.qst")->status, int(SCANSTAT_INFECTED));
    }

    /// Each answer with its data, for each kind of find.
    void obeysThePrompt()
    {
        ScanWorld world;
        world.directory("../chosen");
        const QByteArray chosen = world.path("../chosen");
        const struct
        {
            QByteArray asked; ///< empty: is not asked about
            int answer;
            QByteArray data;
            QByteArray report;
            const char* content = "infected";
        } rows[] = {
            {"1", PROMPT_NOTHING, "", "1 2"},
            {"2", PROMPT_DELETE, "", "2 32"},
            {"3", PROMPT_RENAME, "", "3 128"},
            {"4", PROMPT_RENAME, "own", "4 128"},
            {"5", PROMPT_RENAME, "x/../../../escaped", "5 128"}, // no extension: it would lead elsewhere
            {"6", PROMPT_QUARANTINE, "", "6 64"},
            {"7", PROMPT_QUARANTINE, chosen, "7 64"},
            {"8", PROMPT_CLOSE, "", "8 2"},
            {"", PROMPT_DELETE, "", "9-clean 1", "clean"},
            {"9-suspected", PROMPT_DELETE, "", "9-suspected 32", "suspected"},
            {"9-zip=>a.zip=>b.exe", PROMPT_DELETE, "", "9-zip 32", "inner"},
        };
        Names reports;
        for (const auto& row : rows) {
            reports.append(row.report);
            world.write(row.report.split(' ').first(), row.content);
        }
        world.plan.action = SCANACT_PROMPT;
        int asked = 0;
        world.onPrompt = [&](const QByteArray& name, char* data) {
            for (const auto& row : rows) {
                if (row.asked.isEmpty() || name != world.path(row.asked))
                    continue;
                ++asked;
                qstrcpy(data, row.data.constData());
                return row.answer;
            }
            qFatal("asked about %s", name.constData());
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(asked, 10);
        QCOMPARE(world.files(true), reports);
        QCOMPARE(ScanWorld::list(world.path()), Names({"1", "3.qst", "4.own", "5.qst", "8", "9-clean"}));
        QCOMPARE(ScanWorld::list(world.path("../quarantine")), Names({".restore", "6"}));
        QCOMPARE(ScanWorld::list(chosen), Names({".restore", "7"}));
        QCOMPARE(world.statistics.scSuspicious, 1u);
        QCOMPARE(world.statistics.scDeleted, 3u);
    }

  private:
    bool mounts_ = false;
};

QTEST_GUILESS_MAIN(TestActions)
#include "tst_actions.moc"
