#include "base/uniquefd.h"
#include "quarantine/directorylist.h"
#include "quarantine/restore.h"
#include "quarantine/restorenotes.h"
#include "quarantine/rightsof.h"
#include "tests/support/rootmain.h"

#include <QTemporaryDir>
#include <QTest>

#include <fstream>
#include <functional>
#include <iterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using quarantine::NewFile;
using quarantine::RestoreNote;
using quarantine::RestoreNotes;
using quarantine::RightsOf;

namespace {

using Names = std::vector<std::string>;

constexpr char content[] = "infected";

constexpr uid_t ada = 1000; // two users of one group
constexpr uid_t bob = 1002;
constexpr gid_t members = 1000;

/// A quarantine that the members may write to, a directory of each, and one of root's alone.
class Place
{
  public:
    Place()
    {
        ::chmod(path("").c_str(), 0755);
        directory("quarantine", 0, 03770);
        directory("ada", ada, 0755);
        directory("bob", bob, 0755);
        directory("root", 0, 0755);
        quarantine.reset(::open(path("quarantine").c_str(), O_RDONLY | O_DIRECTORY));
    }

    std::string path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }

    void directory(const std::string& name, uid_t owner, mode_t mode) const
    {
        if (::mkdir(path(name).c_str(), 0700) != 0 || ::chown(path(name).c_str(), owner, members) != 0 ||
            ::chmod(path(name).c_str(), mode) != 0)
            qFatal("cannot make %s", name.c_str());
    }
    void file(const std::string& name, uid_t owner, const std::string& text = content) const
    {
        std::ofstream(path(name)) << text;
        if (::chmod(path(name).c_str(), 0600) != 0 || ::chown(path(name).c_str(), owner, members) != 0)
            qFatal("cannot make %s", name.c_str());
    }
    /// A note of `author` about the file "bad" in quarantine, made first if there is none.
    void quarantined(uid_t owner, uid_t author, const std::string& origin, timespec when = {1, 2}) const
    {
        if (::access(path("quarantine/bad").c_str(), F_OK) != 0)
            file("quarantine/bad", owner);
        const base::UniqueFd bad(::open(path("quarantine/bad").c_str(), O_RDONLY));
        const RightsOf rights(author);
        const auto notes = RestoreNotes::open(quarantine.get(), true);
        auto added = notes.value().add({"bad",
                                        origin,
                                        "Test.Virus",
                                        quarantine::digestFile(bad.get()).value(),
                                        owner,
                                        members,
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

    base::UniqueFd quarantine;

  private:
    QTemporaryDir dir_;
};

std::string read(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void link(const std::string& to, const std::string& from)
{
    if (::symlink(to.c_str(), from.c_str()) != 0)
        qFatal("cannot link %s", from.c_str());
}

struct Case
{
    const char* name;
    const uid_t* owner;  ///< of the file; null is root
    const uid_t* author; ///< of the note
    const char* origin;  ///< below the place, or as it is behind a "="
    const char* error;   ///< empty: it comes back
    std::function<void(const Place&)> arrange = {};
};

constexpr char notKnown[] = "it is not the file that was quarantined";
constexpr char notNoted[] = "it was not noted where this file was";
constexpr char notPlain[] = "where it was is no plain path";

const Case cases[] = {
    {"root's note", &ada, nullptr, "ada/bad", ""},
    {"the owner's note", &ada, &ada, "ada/bad", ""},
    {"into root's directory", &ada, nullptr, "root/bad", ""},
    {"forged, into root's directory", &ada, &ada, "root/bad", "Permission denied"},
    {"about another's file", &ada, &bob, "bob/bad", notKnown},
    {"about root's file", nullptr, &ada, "ada/bad", notKnown},
    {"up and down", &ada, nullptr, "ada/../ada/bad", notPlain},
    {"no name", &ada, nullptr, "ada/", notPlain},
    {"relative", &ada, nullptr, "=ada/bad", "where it was is not known"},
    {"unknown", &ada, nullptr, "=", "where it was is not known"},
    {"nowhere", &ada, nullptr, "ada/gone/bad", "ada/gone: No such file or directory"},
    {"through a link", &ada, nullptr, "ada/link/bad", "ada/link: Not a directory",
     [](const Place& p) { link(p.path("root"), p.path("ada/link")); }},
    {"taken", &ada, nullptr, "ada/bad", "something else is at its place by now",
     [](const Place& p) { link("nowhere", p.path("ada/bad")); }},
    {"other content", &ada, nullptr, "ada/bad", notKnown,
     [](const Place& p) { p.file("quarantine/bad", ada, "INFECTED"); }},
    {"another owner by now", &ada, nullptr, "ada/bad", notKnown,
     [](const Place& p) { p.file("quarantine/bad", bob); }},
    {"older notes too", &ada, nullptr, "ada/bad", "",
     [](const Place& p) {
         for (int i = 0; i < 4; ++i)
             p.quarantined(ada, 0, p.path("bob/bad"), {1, 1});
     }},
    {"a link for a note", &ada, nullptr, "ada/bad", notNoted,
     [](const Place& p) {
         const std::string note = p.path("quarantine/.restore/" + p.list("quarantine/.restore").front());
         ::rename(note.c_str(), p.path("bob/note").c_str());
         link(p.path("bob/note"), note);
     }},
    {"a note that others may write", &ada, nullptr, "ada/bad", notNoted,
     [](const Place& p) {
         ::chmod(p.path("quarantine/.restore/" + p.list("quarantine/.restore").front()).c_str(), 0620);
     }},
    {"a link for a file", &ada, nullptr, "ada/bad", "Too many levels of symbolic links",
     [](const Place& p) {
         ::rename(p.path("quarantine/bad").c_str(), p.path("ada/elsewhere").c_str());
         link(p.path("ada/elsewhere"), p.path("quarantine/bad"));
     }},
    {"a pipe for a file", &ada, nullptr, "ada/bad", "not a file",
     [](const Place& p) {
         ::unlink(p.path("quarantine/bad").c_str());
         ::mkfifo(p.path("quarantine/bad").c_str(), 0600);
     }},
};

} // namespace

class TestRestore : public QObject
{
    Q_OBJECT

  private slots:
    void rootRestores_data()
    {
        QTest::addColumn<const Case*>("test");
        for (const Case& test : cases)
            QTest::newRow(test.name) << &test;
    }

    /// Whatever was planted: the file comes back to where its believable note says, or nothing changes.
    void rootRestores()
    {
        QFETCH(const Case*, test);
        const Place place;
        place.quarantined(test->owner ? *test->owner : 0, test->author ? *test->author : 0,
                          *test->origin == '=' ? test->origin + 1 : place.path(test->origin));
        if (test->arrange)
            test->arrange(place);
        const auto state = [&place] {
            return std::vector{place.list("ada"), place.list("bob"), place.list("root"),
                               place.list("quarantine"), place.list("quarantine/.restore")};
        };
        const auto before = state();
        const auto restored = quarantine::restoreFile(place.quarantine.get(), "bad");
        QCOMPARE(::geteuid(), ::getuid());
        if (*test->error) {
            QVERIFY(!restored);
            QVERIFY2(QByteArray::fromStdString(restored.error().text).endsWith(test->error),
                     restored.error().text.c_str());
            QVERIFY(state() == before);
            return;
        }
        QVERIFY2(restored, restored ? "" : restored.error().text.c_str());
        QCOMPARE(restored.value(), place.path(test->origin));
        QCOMPARE(read(restored.value()), std::string(content));
        struct stat status = {};
        QCOMPARE(::stat(restored.value().c_str(), &status), 0);
        QCOMPARE(status.st_mode & 07777, 0755u);
        QCOMPARE(status.st_mtim.tv_sec, 2000);
        QCOMPARE(status.st_uid, ada);
        QCOMPARE(place.list("quarantine"), Names{".restore"});
        QCOMPARE(place.list("quarantine/.restore"), Names{});
    }

    /// A member gets back what root quarantined, and nothing by a note of another member.
    void membersRestore()
    {
        for (const bool forged : {false, true}) {
            const Place place;
            place.quarantined(ada, forged ? bob : 0, place.path("ada/bad"));
            const RightsOf rights(ada);
            QCOMPARE(bool(quarantine::restoreFile(place.quarantine.get(), "bad")), !forged);
            QCOMPARE(read(place.path(forged ? "quarantine/bad" : "ada/bad")), std::string(content));
        }
    }

    /// The notes of a file that has gone, and no others. Who happened to make their directory has no power
    /// over those of root.
    void dropsNotes()
    {
        const Place place;
        place.quarantined(ada, ada, place.path("ada/bad"));
        place.quarantined(ada, 0, place.path("ada/bad"));
        struct stat status = {};
        QCOMPARE(::stat(place.path("quarantine/.restore").c_str(), &status), 0);
        QCOMPARE(status.st_uid, 0u);
        QCOMPARE(status.st_mode & 07777, 03770u);

        const auto notes = RestoreNotes::open(place.quarantine.get());
        quarantine::dropRestoreNotes(place.quarantine.get(), "bad");
        QCOMPARE(notes.value().of("bad").size(), 2u);
        ::unlink(place.path("quarantine/bad").c_str());
        quarantine::dropRestoreNotes(place.quarantine.get(), "ba");
        QCOMPARE(notes.value().of("bad").size(), 2u);
        quarantine::dropRestoreNotes(place.quarantine.get(), "bad");
        QCOMPARE(place.list("quarantine/.restore"), Names{});

        RestoreNote note;
        note.name = "bad";
        const auto added = notes.value().add(note);
        quarantine::dropRestoreNotes(place.quarantine.get(), "bad"); // its file is about to come
        QCOMPARE(notes.value().of("bad").size(), 1u);
    }

    /// That notes hold any other text is tried by fuzzing.
    void notesAreAboutPlainNames()
    {
        RestoreNote note;
        for (const char* name : {"a\nb\xff", "", ".", "..", "a/b"}) {
            note.name = name;
            QCOMPARE(quarantine::parseNote(quarantine::toText(note)).has_value(),
                     *name == 'a' && name[1] != '/');
        }
    }

    /// As file systems can and cannot do it.
    void makesFiles()
    {
        for (const bool nameless : {true, false}) {
            const Place place;
            const base::UniqueFd from(::open(place.path("ada").c_str(), O_RDONLY | O_DIRECTORY));
            const base::UniqueFd to(::open(place.path("bob").c_str(), O_RDONLY | O_DIRECTORY));
            place.file("bob/taken", bob, "taken");
            for (const bool kept : {false, true}) {
                {
                    auto file = NewFile::create(from.get(), nameless);
                    QVERIFY(file);
                    QCOMPARE(place.list("ada").size(), nameless ? 0u : 1u);
                    QCOMPARE(quarantine::sweepUnfinished(from.get()), 0);
                    QCOMPARE(::write(file.value().fd(), "x", 1), 1);
                    QCOMPARE(file.value().publish(to.get(), "taken").error().code, EEXIST);
                    QVERIFY(file.value().publish(to.get(), "new"));
                    QCOMPARE(read(place.path("bob/new")), std::string("x"));
                    if (kept)
                        file.value().keep();
                }
                QCOMPARE(place.list("ada"), Names{});
                QCOMPARE(place.list("bob"), kept ? Names({"new", "taken"}) : Names{"taken"});
            }
            QCOMPARE(read(place.path("bob/taken")), std::string("taken"));
            place.file("ada/.incoming-left", ada);
            QCOMPARE(quarantine::sweepUnfinished(from.get()), 1);
            QCOMPARE(place.list("ada"), Names{});
        }
    }
};

VARDO_ROOT_TEST_MAIN(TestRestore)
#include "tst_restore.moc"
