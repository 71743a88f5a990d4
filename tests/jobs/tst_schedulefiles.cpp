#include "base/paths.h"
#include "engine/schedule.h"
#include "sfl/sfl.h"
#include "tests/jobs/schedules.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"

#include <QRegularExpression>
#include <QTest>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace schedules;

/// What saves and deletions leave in the store and in cron's files, whoever disturbs them.
class TestScheduleFiles : public QObject
{
    Q_OBJECT

  private slots:
    void init() { makePlace(); }

    void nothingIsHalfDone();
    void cronSeesEachChange();
    void killedSavesLeaveWholeFiles();
    void twoSaveAtOnce();
    void brokenStores();
    void plantedLinks();
};

/// When one of the files cannot be written, all stay as they were.
void TestScheduleFiles::nothingIsHalfDone()
{
    const fs::path outOfReach[] = {cronFile, ownCron, store};
    QCOMPARE(saveDaily("a"), 0);
    const auto contents = [&] {
        std::vector<std::string> all;
        for (const fs::path& file : outOfReach)
            all.push_back(fs::is_directory(file) ? "directory" : sandbox::readFile(file));
        return all;
    };
    for (const fs::path& file : outOfReach) {
        const int expected = file == store ? SCHEDERR_SAVE : SCHEDERR_CRON;
        const fs::path kept = file.string() + ".kept";
        fs::rename(file, kept);
        fs::create_directories(file / "in the way");
        const std::vector<std::string> before = contents();
        QCOMPARE(saveDaily("b"), expected);
        QVERIFY(vSchedule::DeleteSchedule(ownCron.c_str(), "a", store.c_str()) < 0);
        QCOMPARE(contents(), before);
        fs::remove_all(file);
        fs::rename(kept, file);
    }
    // Others could put a file of theirs into the place of ours.
    fs::permissions(cronFile.parent_path(), fs::perms(0777));
    const std::vector<std::string> before = contents();
    QCOMPARE(saveDaily("b"), SCHEDERR_CRON);
    QCOMPARE(contents(), before);
}

void TestScheduleFiles::cronSeesEachChange()
{
    std::set<std::time_t> times;
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(saveDaily("a", i > 0, i), 0);
        struct stat status = {};
        QCOMPARE(::stat(cronFile.c_str(), &status), 0);
        QVERIFY(times.insert(status.st_mtime).second);
        QCOMPARE(status.st_mode, mode_t(S_IFREG | 0644));
        QVERIFY(status.st_uid == 0 && status.st_nlink == 1 && isWhole(cronFile));
        QCOMPARE(linesFor(cronFile, (std::to_string(i) + " * * * root").c_str()), 1);
        QCOMPARE(linesFor(cronFile, "@reboot root"), 1);
    }
    QCOMPARE(vSchedule::DeleteSchedule(ownCron.c_str(), "a", store.c_str()), 0);
    QCOMPARE(linesFor(cronFile, "root"), 0);
}

void TestScheduleFiles::killedSavesLeaveWholeFiles()
{
    std::srand(1);
    QCOMPARE(saveDaily("kept", false, 5), 0);
    int saved = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string name = "job" + std::to_string(i);
        const pid_t child = inChild([&] {
            saveDaily(name);
            saveDaily(name, true, 10);
            vSchedule::DeleteSchedule(ownCron.c_str(), name.c_str(), store.c_str());
            saveDaily(name);
        });
        ::usleep(static_cast<useconds_t>(std::rand() % 6'000));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        QVERIFY(isWhole(cronFile) && isWhole(ownCron));
        const std::vector<std::string> found = names();
        QVERIFY(!found.empty() && found.back() == "kept");
        const bool stored = open(name)->ReadConfiguration(nullptr) == 0;
        saved += stored;
        QVERIFY(!stored || linesFor(cronFile, "--schedule=") == 2); // never a job that is not run
        vSchedule::DeleteSchedule(ownCron.c_str(), name.c_str(), store.c_str());
    }
    QVERIFY2(saved > 10 && saved < 190, qPrintable(QString::number(saved)));
    QCOMPARE(names(), std::vector<std::string>{"kept"});
    QCOMPARE(saveDaily("last"), 0);
    QCOMPARE(linesFor(cronFile, "--schedule="), 2);
    // Nothing is left of the killed ones.
    QCOMPARE(std::distance(fs::directory_iterator(cronFile.parent_path()), {}), 1);
    QCOMPARE(std::distance(fs::directory_iterator(store.parent_path()), {}), 3); // and vardo.conf
}

void TestScheduleFiles::twoSaveAtOnce()
{
    std::vector<pid_t> children;
    for (const char* who : {"a", "b"})
        children.push_back(inChild([who] {
            for (int i = 0; i < 50; ++i)
                if (saveDaily(who + std::to_string(i)) != 0)
                    ::_exit(1);
        }));
    for (const pid_t child : children) {
        int status = 1;
        QVERIFY(::waitpid(child, &status, 0) == child && status == 0);
    }
    QCOMPARE(names().size(), 100u);
    QCOMPARE(linesFor(cronFile, "--schedule="), 100);
    QVERIFY(isWhole(cronFile));
}

/// Whatever the store holds, it is read or refused, and a save that succeeds keeps all of it.
void TestScheduleFiles::brokenStores()
{
    for (int i = 0; i < 3; ++i)
        QCOMPARE(saveDaily("job " + std::to_string(i)), 0);
    const std::string whole = sandbox::readFile(store);
    constexpr std::size_t huge = 10 << 20;
    std::vector<std::string> broken = {std::string(huge + 1, 'x'), whole + '\x1a', "[a]\nb = \"c-\n",
                                       std::string("[a]\nFrequency = 9\n\0\xff]\nObject1 = \"/\n[", 37)};
    for (std::size_t length = 0; length < whole.size(); length += 7)
        broken.push_back(whole.substr(0, length));
    int saved = 0;
    for (const std::string& text : broken) {
        sandbox::writeFile(store, text);
        const std::vector<std::string> before =
            text.size() < whole.size() + 9 ? names() : std::vector<std::string>();
        if (saveDaily("new") == 0) {
            ++saved;
            QVERIFY(sandbox::readFile(store).starts_with(text));
            QCOMPARE(names().size(), before.size() + 1);
        } else {
            QCOMPARE(fs::file_size(store), text.size());
            QVERIFY(text.size() > huge || sandbox::readFile(store) == text);
        }
        QVERIFY(isWhole(cronFile));
    }
    QVERIFY(saved > int(broken.size()) / 2);
}

/// What members of the group put into the directory of the store leads root nowhere else.
void TestScheduleFiles::plantedLinks()
{
    const fs::path victims = "/root/victims";
    const auto plant = [&](const fs::path& place) {
        fs::remove_all(place);
        fs::create_symlink(victims / "file", place);
    };
    fs::create_directories(victims);
    QCOMPARE(saveDaily("a"), 0);
    sandbox::writeFile(victims / "file", sandbox::readFile(store));
    const std::string before = sandbox::readFile(victims / "file");
    for (const char* name :
         {"schedule.conf", ".schedule.conf.new", "qsschedule.cron", ".qsschedule.cron.new"}) {
        plant(store.parent_path() / name);
        saveDaily("b", true);
        vSchedule::DeleteOldSchedules(ownCron.c_str(), store.c_str());
        QCOMPARE(sandbox::readFile(victims / "file"), before);
        fs::remove(store);
        QCOMPARE(saveDaily("a"), 0);
    }
    // A second name of root's file, and the directory itself.
    fs::remove(store);
    fs::create_directories("/opt/Quillstone/etc/other");
    sandbox::writeFile("/opt/Quillstone/etc/other/file", before);
    fs::create_hard_link("/opt/Quillstone/etc/other/file", store);
    QCOMPARE(saveDaily("b"), SCHEDERR_SAVE);
    QCOMPARE(sandbox::readFile("/opt/Quillstone/etc/other/file"), before);
    fs::remove_all(store.parent_path());
    fs::create_directory_symlink(cronFile.parent_path(), store.parent_path());
    QVERIFY(saveDaily("b") < 0);
    QCOMPARE(std::distance(fs::directory_iterator(cronFile.parent_path()), {}), 1);
    fs::remove(store.parent_path());
    fs::create_directories(store.parent_path());
    QCOMPARE(std::distance(fs::directory_iterator(victims), {}), 1);
}

VARDO_ROOT_TEST_MAIN(TestScheduleFiles)
#include "tst_schedulefiles.moc"
