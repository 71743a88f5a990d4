#include "base/uniquefd.h"
#include "quarantine/directorylist.h"
#include "quarantine/restore.h"
#include "quarantine/restorenotes.h"
#include "quarantine/rightsof.h"

#include <QTemporaryDir>
#include <QTest>

#include <fstream>
#include <functional>
#include <iterator>
#include <random>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using quarantine::NewFile;
using quarantine::RestoreNote;
using quarantine::RestoreNotes;
using quarantine::RightsOf;

namespace {

using Names = std::vector<std::string>;

constexpr char content[] = "infected";

/// A quarantine that two members of a group may write to, a directory of each, and one of root's alone.
class Place
{
  public:
    Place()
    {
        ::chmod(dir_.path().toLocal8Bit().constData(), 0755);
        if (::geteuid() == 0) {
            const passwd* user = ::getpwnam("sync"); // both of the group "nogroup"
            ada = user ? user->pw_uid : 0;
            user = ::getpwnam("nobody");
            bob = user ? user->pw_uid : 0;
            group_ = user ? user->pw_gid : 0;
        }
        directory("quarantine", 0, 03770);
        directory("ada", ada, 0755);
        directory("bob", bob, 0755);
        directory("root", 0, 0755);
        quarantine.reset(::open(path("quarantine").c_str(), O_RDONLY | O_DIRECTORY));
    }

    std::string path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
    bool hasUsers() const { return ada != 0 && bob != 0; }

    void directory(const std::string& name, uid_t owner, mode_t mode) const
    {
        if (::mkdir(path(name).c_str(), 0700) != 0 ||
            (::geteuid() == 0 && ::chown(path(name).c_str(), owner, group_) != 0) ||
            ::chmod(path(name).c_str(), mode) != 0)
            qFatal("cannot make %s", name.c_str());
    }
    void file(const std::string& name, uid_t owner, const std::string& text = content) const
    {
        std::ofstream(path(name)) << text;
        if (::chmod(path(name).c_str(), 0600) != 0 ||
            (::geteuid() == 0 && ::chown(path(name).c_str(), owner, group_) != 0))
            qFatal("cannot make %s", name.c_str());
    }
    /// A file in quarantine and a note of `author` about it.
    void quarantined(uid_t owner, uid_t author, const std::string& origin) const
    {
        file("quarantine/bad", owner);
        note(author, origin, owner);
    }
    void note(uid_t author, const std::string& origin, uid_t owner, std::time_t when = 1) const
    {
        const base::UniqueFd bad(::open(path("quarantine/bad").c_str(), O_RDONLY));
        const RightsOf rights(author);
        const auto notes = RestoreNotes::open(quarantine.get(), true);
        auto added = notes.value().add({"bad",
                                        origin,
                                        "Test.Virus",
                                        quarantine::digestFile(bad.get()).value(),
                                        owner,
                                        group_,
                                        0755,
                                        {1000, 1},
                                        {2000, 2},
                                        when});
        if (!added)
            qFatal("%s", added.error().text.c_str());
        added.value().keep();
    }
    Names list(const std::string& name) const
    {
        const base::UniqueFd fd(::open(path(name).c_str(), O_RDONLY | O_DIRECTORY));
        return quarantine::listDirectory(fd.get());
    }

    uid_t ada = 0;
    uid_t bob = 0;
    base::UniqueFd quarantine;

  private:
    gid_t group_ = 0;
    QTemporaryDir dir_;
};

std::string read(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Case
{
    const char* name;
    std::function<void(Place&)> arrange;
    const char* error; ///< empty: it comes back
    bool usersNeeded = true;
};

void link(const std::string& to, const std::string& from)
{
    if (::symlink(to.c_str(), from.c_str()) != 0)
        qFatal("cannot link %s", from.c_str());
}

const std::vector<Case>& cases()
{
    static const std::vector<Case> all{
        {"root's note", [](Place& p) { p.quarantined(p.ada, 0, p.path("ada/bad")); }, ""},
        {"the owner's note", [](Place& p) { p.quarantined(p.ada, p.ada, p.path("ada/bad")); }, ""},
        {"into root's directory", [](Place& p) { p.quarantined(p.ada, 0, p.path("root/bad")); }, ""},
        {"forged, into root's directory", [](Place& p) { p.quarantined(p.ada, p.ada, p.path("root/bad")); },
         "Permission denied"},
        {"about another's file", [](Place& p) { p.quarantined(p.ada, p.bob, p.path("bob/bad")); },
         "it is not the file that was quarantined"},
        {"about root's file", [](Place& p) { p.quarantined(0, p.ada, p.path("ada/bad")); },
         "it is not the file that was quarantined"},
        {"other content",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             p.file("quarantine/bad", p.ada, "INFECTED");
         },
         "it is not the file that was quarantined", false},
        {"another owner by now",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             p.file("quarantine/bad", p.bob);
         },
         "it is not the file that was quarantined"},
        {"an older note too",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             p.note(0, p.path("bob/bad"), p.ada, 0);
         },
         "", false},
        {"no note", [](Place& p) { p.file("quarantine/bad", p.ada); }, "it was not noted where this file was",
         false},
        {"a link for a note",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             const std::string note = p.list("quarantine/.restore").front();
             ::rename(p.path("quarantine/.restore/" + note).c_str(), p.path("bob/note").c_str());
             link(p.path("bob/note"), p.path("quarantine/.restore/" + note));
         },
         "it was not noted where this file was", false},
        {"a link for a file",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             ::rename(p.path("quarantine/bad").c_str(), p.path("ada/elsewhere").c_str());
             link(p.path("ada/elsewhere"), p.path("quarantine/bad"));
         },
         "Too many levels of symbolic links", false},
        {"a pipe for a file",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             ::unlink(p.path("quarantine/bad").c_str());
             ::mkfifo(p.path("quarantine/bad").c_str(), 0600);
         },
         "not a file", false},
        {"up and down", [](Place& p) { p.quarantined(p.ada, 0, p.path("ada/../ada/bad")); },
         "where it was is no plain path", false},
        {"no name", [](Place& p) { p.quarantined(p.ada, 0, p.path("ada/")); },
         "where it was is no plain path", false},
        {"relative", [](Place& p) { p.quarantined(p.ada, 0, "ada/bad"); }, "where it was is not known",
         false},
        {"unknown", [](Place& p) { p.quarantined(p.ada, 0, ""); }, "where it was is not known", false},
        {"through a link",
         [](Place& p) {
             link(p.path("root"), p.path("ada/link"));
             p.quarantined(p.ada, 0, p.path("ada/link/bad"));
         },
         "ada/link: Not a directory", false},
        {"nowhere", [](Place& p) { p.quarantined(p.ada, 0, p.path("ada/gone/bad")); },
         "ada/gone: No such file or directory", false},
        {"taken",
         [](Place& p) {
             p.quarantined(p.ada, 0, p.path("ada/bad"));
             link("nowhere", p.path("ada/bad"));
         },
         "something else is at its place by now", false},
    };
    return all;
}

} // namespace

class TestRestore : public QObject
{
    Q_OBJECT

  private slots:
    void rootRestores_data();
    void rootRestores();
    void membersRestore();
    void dropsNotesOfGoneFiles();
    void takesOverTheNotes();
    void parsesWhateverItFinds();
    void makesFiles_data();
    void makesFiles();
};

void TestRestore::rootRestores_data()
{
    QTest::addColumn<int>("index");
    for (std::size_t i = 0; i < cases().size(); ++i)
        QTest::newRow(cases()[i].name) << int(i);
}

/// Whatever was planted: the file comes back to where its believable note says, or nothing changes.
void TestRestore::rootRestores()
{
    QFETCH(int, index);
    const Case& test = cases()[std::size_t(index)];
    Place place;
    if (test.usersNeeded && !place.hasUsers())
        QSKIP("needs root and the users sync and nobody");
    test.arrange(place);
    const auto state = [&place] {
        return std::vector{place.list("ada"), place.list("bob"), place.list("root"), place.list("quarantine"),
                           place.list("quarantine/.restore")};
    };
    const auto before = state();
    const auto restored = quarantine::restoreFile(place.quarantine.get(), "bad");
    QCOMPARE(::geteuid(), ::getuid());
    if (*test.error) {
        QVERIFY(!restored);
        QVERIFY2(QByteArray::fromStdString(restored.error().text).endsWith(test.error),
                 restored.error().text.c_str());
        QVERIFY(state() == before);
        return;
    }
    QVERIFY2(restored, restored ? "" : restored.error().text.c_str());
    QCOMPARE(read(restored.value()), std::string(content));
    struct stat status = {};
    QCOMPARE(::stat(restored.value().c_str(), &status), 0);
    QCOMPARE(status.st_mode & 07777, 0755u);
    QCOMPARE(status.st_mtim.tv_sec, 2000);
    if (::geteuid() == 0)
        QCOMPARE(status.st_uid, place.ada);
    QCOMPARE(place.list("quarantine"), Names{".restore"});
    QCOMPARE(place.list("quarantine/.restore"), Names{});
}

/// A member gets back what root quarantined, and nothing by a note of another member.
void TestRestore::membersRestore()
{
    for (const bool forged : {false, true}) {
        Place place;
        if (!place.hasUsers())
            QSKIP("needs root and the users sync and nobody");
        place.quarantined(place.ada, forged ? place.bob : 0, place.path("ada/bad"));
        const RightsOf rights(place.ada);
        const auto restored = quarantine::restoreFile(place.quarantine.get(), "bad");
        QCOMPARE(bool(restored), !forged);
        QCOMPARE(read(place.path(forged ? "quarantine/bad" : "ada/bad")), std::string(content));
        QVERIFY(!quarantine::restoreFile(place.quarantine.get(), "../ada/bad"));
    }
}

void TestRestore::dropsNotesOfGoneFiles()
{
    Place place;
    place.quarantined(place.ada, 0, place.path("ada/bad"));
    quarantine::dropRestoreNotes(place.quarantine.get(), "bad");
    QCOMPARE(place.list("quarantine/.restore").size(), 1u);
    ::unlink(place.path("quarantine/bad").c_str());
    quarantine::dropRestoreNotes(place.quarantine.get(), "ba");
    QCOMPARE(place.list("quarantine/.restore").size(), 1u);
    quarantine::dropRestoreNotes(place.quarantine.get(), "bad");
    QCOMPARE(place.list("quarantine/.restore"), Names{});

    const auto notes = RestoreNotes::open(place.quarantine.get());
    RestoreNote note;
    note.name = "bad";
    const auto added = notes.value().add(note);
    quarantine::dropRestoreNotes(place.quarantine.get(), "bad"); // its file is about to come
    QCOMPARE(notes.value().of("bad").size(), 1u);
}

/// Who happened to make the directory has no power over root's notes.
void TestRestore::takesOverTheNotes()
{
    Place place;
    if (!place.hasUsers())
        QSKIP("needs root and the users sync and nobody");
    place.quarantined(place.ada, place.ada, place.path("ada/bad"));
    place.note(0, place.path("ada/bad"), place.ada);
    struct stat status = {};
    QCOMPARE(::stat(place.path("quarantine/.restore").c_str(), &status), 0);
    QCOMPARE(status.st_uid, 0u);
    QCOMPARE(status.st_mode & 07777, 03770u);
}

void TestRestore::parsesWhateverItFinds()
{
    const RestoreNote note{"a\nb\xff", "/x/\x01\n\xff/y", "V~#^|~", {"12ab", 5}, 4'000'000'000u, 7, 0640,
                           {-5, 1},    {6, 999'999'999},  8};
    const std::string text = quarantine::toText(note);
    const auto same = quarantine::parseNote(text);
    QVERIFY(same);
    QCOMPARE(quarantine::toText(*same), text);
    QCOMPARE(same->origin, note.origin);
    QCOMPARE(same->accessed.tv_sec, -5);

    for (const char* name : {"", ".", "..", "a/b"}) {
        RestoreNote bad = note;
        bad.name = name;
        QVERIFY(!quarantine::parseNote(quarantine::toText(bad)));
    }
    RestoreNote setUid = note;
    setUid.mode = 04755;
    QVERIFY(!quarantine::parseNote(quarantine::toText(setUid)));
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        std::string broken = text.substr(0, random() % (text.size() + 1));
        for (auto changes = random() % 4; changes > 0 && !broken.empty(); --changes)
            broken[random() % broken.size()] = static_cast<char>(random());
        if (const auto parsed = quarantine::parseNote(broken))
            QVERIFY(parsed->mode <= 0777 && !parsed->name.empty() && parsed->content.size >= 0);
    }
}

void TestRestore::makesFiles_data()
{
    QTest::addColumn<bool>("nameless");
    QTest::newRow("without a name") << true;
    QTest::newRow("with a hidden name") << false;
}

/// As file systems can and cannot do it.
void TestRestore::makesFiles()
{
    QFETCH(bool, nameless);
    Place place;
    const base::UniqueFd ada(::open(place.path("ada").c_str(), O_RDONLY | O_DIRECTORY));
    place.file("bob/taken", place.bob, "taken");
    const base::UniqueFd bob(::open(place.path("bob").c_str(), O_RDONLY | O_DIRECTORY));
    {
        auto file = NewFile::create(ada.get(), nameless);
        QVERIFY(file);
        QCOMPARE(place.list("ada").size(), nameless ? 0u : 1u);
        QCOMPARE(quarantine::sweepUnfinished(ada.get()), 0);
        QCOMPARE(::write(file.value().fd(), "x", 1), 1);
        QCOMPARE(file.value().publish(bob.get(), "taken").error().code, EEXIST);
        QVERIFY(file.value().publish(bob.get(), "new"));
        QCOMPARE(read(place.path("bob/new")), std::string("x"));
        QCOMPARE(place.list("ada"), Names{});
    }
    QCOMPARE(place.list("bob"), Names{"taken"});
    QCOMPARE(read(place.path("bob/taken")), std::string("taken"));
    {
        auto file = NewFile::create(ada.get(), nameless);
        QVERIFY(file.value().publish(bob.get(), "new"));
        file.value().keep();
    }
    QCOMPARE(place.list("bob"), Names({"new", "taken"}));
    place.file("ada/.incoming-left", place.ada);
    QCOMPARE(quarantine::sweepUnfinished(ada.get()), 1);
    QCOMPARE(place.list("ada"), Names{});
}

QTEST_GUILESS_MAIN(TestRestore)
#include "tst_restore.moc"
