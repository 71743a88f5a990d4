#include "quarantine/restore.h"
#include "quarantine/rightsof.h"
#include "tests/libvardo/scanworld.h"
#include "tests/support/rootmain.h"

#include <QTest>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using Names = QList<QByteArray>;

namespace {

constexpr uid_t nobody = 65534;

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

} // namespace

class TestActions : public QObject
{
    Q_OBJECT

  private slots:
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
        QVERIFY(!mount || *mount);
        const bool forbidden = place == "forbidden";
        if (forbidden)
            QCOMPARE(::chown(quarantine.constData(), nobody, nobody), 0);
        if (place == "linked")
            QCOMPARE(::link(bad.constData(), world.path("../other").constData()), 0);
        else if (place == "open")
            QCOMPARE(::chmod(quarantine.constData(), 0777), 0);
        else if (place == "without notes")
            QCOMPARE(::chmod(world.write("../quarantine/.restore", "planted").constData(), 0644), 0);
        else if (place.startsWith("led ")) {
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
            QCOMPARE(::mount("none", world.path().constData(), "overlay", 0, layers.constData()), 0);
            world.plan.action = action;
            const int result = world.scan();
            ::umount2(world.path().constData(), MNT_DETACH);
            QCOMPARE(result, 0);
            QCOMPARE(world.statistics.scDeleted + world.statistics.scRenamed, 2u);
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
};

VARDO_ROOT_TEST_MAIN(TestActions)
#include "tst_actions.moc"
