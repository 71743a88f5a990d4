#include "base/paths.h"
#include "engine/schedule.h"
#include "sfl/sfl.h"
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

namespace fs = std::filesystem;

namespace {

const fs::path store = paths::scheduleStore;
const fs::path cronFile = paths::cronFile;
const fs::path ownCron = paths::scheduleCron;

std::unique_ptr<vSchedule> open(const std::string& name)
{
    return std::make_unique<vSchedule>(name.c_str(), store.c_str());
}

void set(vSchedule& job, unsigned id, int number)
{
    auto byte = static_cast<unsigned char>(number);
    auto whole = static_cast<unsigned>(number);
    const bool isByte = id >= SCHEDOPT_FREQUENCY;
    job.SetOption(id, isByte ? static_cast<void*>(&byte) : &whole);
}

int get(vSchedule& job, unsigned id)
{
    unsigned char byte = 0;
    unsigned whole = 0;
    const bool isByte = id >= SCHEDOPT_FREQUENCY;
    return job.GetOption(id, isByte ? static_cast<void*>(&byte) : &whole) < 0 ? -1
                                                                              : int(isByte ? byte : whole);
}

int save(vSchedule& job, bool existing = false)
{
    return job.SaveSchedule(ownCron.c_str(), "root", store.c_str(), existing);
}

/// Saves a daily job.
int saveDaily(const std::string& name, bool existing = false, int hour = 9, const std::string& object = "/")
{
    const auto job = open(name);
    set(*job, SCHEDOPT_FREQUENCY, FREQ_DAILY);
    set(*job, SCHEDOPT_HOUR, hour);
    job->AddObject(object.c_str());
    return save(*job, existing);
}

std::vector<std::string> objectsOf(vSchedule& job)
{
    std::vector<std::string> objects;
    VardoObject* list = nullptr;
    job.GetObjectList(&list);
    for (const VardoObject* object = list; object; object = object->objNext)
        objects.emplace_back(object->objName);
    if (list)
        list->ClearList();
    return objects;
}

/// The names as the scheduler page finds them.
std::vector<std::string> names()
{
    std::vector<std::string> found;
    std::string previous;
    const sfl::SymTablePtr table(ini_dyn_load(nullptr, store.c_str()));
    for (const _SYMBOL* symbol = table->symbols; symbol; symbol = symbol->next) {
        const std::string_view name = symbol->name;
        const std::string section(name.substr(0, name.find(':')));
        if (section.size() == name.size() || section == previous)
            continue;
        const auto job = open(section);
        if (job->ReadConfiguration(nullptr) < 0)
            continue;
        found.emplace_back(job->GetScheduleName());
        previous = section;
    }
    return found;
}

int linesFor(const fs::path& file, const char* text)
{
    return int(QString::fromStdString(sandbox::readFile(file)).count(text));
}

/// A whole cron file that holds nothing but what cron may be told.
bool isWhole(const fs::path& file)
{
    static const QRegularExpression pattern(
        "^#[^\n]*\nSHELL=/bin/sh\nPATH=[a-z:/]+\nMAILTO=\"\"\n"
        "(?:[0-9]+(?: (?:[0-9]+|28-31|\\*)){4} root /opt/Quillstone/usr/bin/vardoscan "
        "--schedule=[0-9a-f]{16}\n)*"
        "(?:@reboot root /opt/Quillstone/usr/bin/vardoscan --missed\n)?$");
    return pattern.match(QString::fromStdString(sandbox::readFile(file))).hasMatch();
}

pid_t inChild(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    return child;
}

} // namespace

class TestScheduleStore : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        fs::remove_all(paths::scheduleStamps);
        // As the package makes them: a group may write there.
        fs::permissions("/opt/Quillstone/etc", fs::perms(02775));
        fs::permissions(store.parent_path(), fs::perms(02775));
        fs::permissions(cronFile.parent_path(), fs::perms(0755));
    }

    void aJobComesBackAsItWas();
    void results();
    void hostileNames();
    void objectsAreBytes();
    void singleRunsPass();
    void nothingIsHalfDone();
    void cronSeesEachChange();
    void killedSavesLeaveWholeFiles();
    void twoSaveAtOnce();
    void brokenStores();
    void plantedLinks();
    void manyJobsAreListedAtOnce();
};

void TestScheduleStore::aJobComesBackAsItWas()
{
    const std::vector<std::pair<unsigned, int>> values = {{SCHEDOPT_ACTION, SCANACT_RENAME},
                                                          {SCHEDOPT_SCANFLAGS, 0x7f6e},
                                                          {SCHEDOPT_FREQUENCY, FREQ_MONTHLY},
                                                          {SCHEDOPT_MONTH, 2},
                                                          {SCHEDOPT_MONTHDAY, 31},
                                                          {SCHEDOPT_WEEKDAY, 6},
                                                          {SCHEDOPT_HOUR, 23},
                                                          {SCHEDOPT_MINUTE, 59}};
    sandbox::writeFile(store,
                       "; by hand\n[keep]\nmine = 1\n[other\nFrequency = daily ; note\nObject1=/\nmore = x");
    const auto job = open("job1");
    for (const auto& [id, value] : values)
        set(*job, id, value);
    job->AddObject("/tmp");
    job->AddObject("/");
    QCOMPARE(save(*job), 0);
    const auto again = open("job1");
    QCOMPARE(again->ReadSchedule(nullptr, nullptr), 0);
    QCOMPARE(again->GetScheduleName(), "job1");
    for (const auto& [id, value] : values)
        QCOMPARE(get(*again, id), value);
    QCOMPARE(objectsOf(*again), (std::vector<std::string>{"/tmp", "/"}));
    // Nothing of what others wrote is lost by any change.
    again->ClearObjectList();
    again->AddObject("/tmp");
    QCOMPARE(save(*again, true), 0);
    QVERIFY(sandbox::readFile(store).starts_with(
        "; by hand\n[keep]\nmine = 1\n[other\nFrequency = daily ; note\n"));
    QCOMPARE(names(), (std::vector<std::string>{"job1", "other"}));
    QCOMPARE(vSchedule::DeleteSchedule(ownCron.c_str(), "job1", store.c_str()), 0);
    QVERIFY(vSchedule::DeleteSchedule(ownCron.c_str(), "job1", store.c_str()) < 0);
    QCOMPARE(names(), std::vector<std::string>{"other"});
    QVERIFY(sandbox::readFile(store).ends_with("Object1=/\nmore = x\n"));
    QCOMPARE(linesFor(cronFile, "--schedule="), 1);
    QCOMPARE(sandbox::readFile(cronFile), sandbox::readFile(ownCron));
}

void TestScheduleStore::results()
{
    QCOMPARE(saveDaily("a"), 0);
    const std::string before = sandbox::readFile(store);
    QCOMPARE(saveDaily("a"), SCHEDERR_EXISTS);
    QCOMPARE(saveDaily("b", false, 24), SCHEDERR_TIME);
    QCOMPARE(saveDaily("b", false, 9, "tmp"), SCHEDERR_OBJECTS);
    QCOMPARE(saveDaily("b", false, 9, "/nothing/here"), SCHEDERR_OBJECTS);
    QCOMPARE(save(*open("b")), SCHEDERR_OBJECTS);
    QCOMPARE(saveDaily(""), SCHEDERR_SAVE);
    const auto nameless = std::make_unique<vSchedule>(nullptr, store.c_str());
    nameless->AddObject("/");
    QCOMPARE(save(*nameless), SCHEDERR_SAVE);
    for (const auto& [id, number] : {std::pair(SCHEDOPT_MONTHDAY, 31),
                                     {SCHEDOPT_MONTH, 13},
                                     {SCHEDOPT_MONTH, 0},
                                     {SCHEDOPT_MINUTE, 60},
                                     {SCHEDOPT_WEEKDAY, 7},
                                     {SCHEDOPT_FREQUENCY, 5}}) {
        const auto job = open("b");
        job->AddObject("/");
        set(*job, SCHEDOPT_MONTH, 4);
        set(*job, id, number);
        QCOMPARE(save(*job), SCHEDERR_TIME);
    }
    QVERIFY(open("b")->ReadConfiguration(nullptr) < 0);
    QCOMPARE(vSchedule::DeleteOldSchedules(ownCron.c_str(), store.c_str()), 0);
    QCOMPARE(sandbox::readFile(store), before);
    // Whoever is not root changes nothing.
    const pid_t child = inChild([] {
        const bool refused = ::setgid(1000) != 0 || ::setuid(1000) != 0 || saveDaily("b") != SCHEDERR_CRON ||
                             vSchedule::DeleteSchedule(ownCron.c_str(), "a", store.c_str()) >= 0;
        ::_exit(refused ? 1 : 0);
    });
    int status = 1;
    QVERIFY(::waitpid(child, &status, 0) == child && status == 0);
    QCOMPARE(sandbox::readFile(store), before);
}

void TestScheduleStore::hostileNames()
{
    std::istringstream hostile(
        "a b~ a~a ~a:b~a~A~a]b~[a]~[a~]~a=b~a;b~#a~;a~!a~\"a\"~a'b~50%~50%25~%%~a%3Ab~$(HOME)~$HOME~`id`~"
        "a\nb = c~a\n[b]~a\tb~\x1a~a\\b~a\\~M\xc3\xbcll~\xff\xfe~filename~#*END~-~..~../x~/etc/passwd~"
        "a,b~a&b|c>d~a*b~*~" +
        std::string(200, 'x') + '~' + std::string(200, '"') + '~' + std::string(2000, 'x'));
    QCOMPARE(saveDaily("other", false, 3), 0);
    std::multiset<std::string> expected = {"other"};
    int refused = 0;
    for (std::string name; std::getline(hostile, name, '~');) {
        const int result = saveDaily(name, false, 7);
        QVERIFY(result == 0 || result == SCHEDERR_SAVE);
        refused += result != 0;
        if (result == 0)
            expected.insert(name);
    }
    QCOMPARE(refused, 6); // too long, with a star, or the text of the section of another one
    const std::vector<std::string> found = names();
    QCOMPARE(std::multiset<std::string>(found.begin(), found.end()), expected);
    QVERIFY(isWhole(cronFile));
    QCOMPARE(linesFor(cronFile, " 7 * * * root "), int(expected.size()) - 1);
    QVERIFY(sandbox::readFile(store).find("\n[a b]\n") != std::string::npos);
    for (const std::string& name : expected) {
        QCOMPARE(saveDaily(name), SCHEDERR_EXISTS);
        const auto job = open(name);
        QCOMPARE(job->ReadSchedule(nullptr, nullptr), 0);
        QCOMPARE(job->GetScheduleName(), name);
        QCOMPARE(get(*job, SCHEDOPT_HOUR), name == "other" ? 3 : 7);
        QVERIFY(name == "other" ||
                vSchedule::DeleteSchedule(ownCron.c_str(), name.c_str(), store.c_str()) == 0);
    }
    QCOMPARE(names(), std::vector<std::string>{"other"});
    QCOMPARE(linesFor(cronFile, "--schedule="), 1);
}

void TestScheduleStore::objectsAreBytes()
{
    std::vector<std::string> objects;
    for (const std::string name : {"a;b,c", "#a", "\"q\" 'r'", "100%", "%41", "$(HOME)", "a\nb", "a\tb\r",
                                   "\x1a", "\xff\xfe", "ends-", "back\\", " blank "}) {
        objects.push_back("/tmp/objects/" + name);
        fs::create_directories(objects.back());
    }
    std::string deep = "/tmp/objects";
    for (int i = 0; i < 15; ++i)
        deep += "/" + std::string(250, i % 2 ? '(' : '%');
    fs::create_directories(deep);
    objects.push_back(deep);
    for (int i = 0; i < 300; ++i)
        objects.push_back(i % 2 ? "/" : "/tmp");
    const auto job = open("x");
    for (const std::string& object : objects)
        job->AddObject(object.c_str());
    set(*job, SCHEDOPT_FREQUENCY, FREQ_DAILY);
    QCOMPARE(save(*job), 0);
    const auto again = open("x");
    QCOMPARE(again->ReadConfiguration(nullptr), 0);
    QCOMPARE(objectsOf(*again), objects);
    QVERIFY(isWhole(cronFile));
}

void TestScheduleStore::singleRunsPass()
{
    const auto job = open("once");
    std::time_t when = std::time(nullptr) + 3600;
    const struct tm soon = *std::localtime(&when);
    for (const auto& [id, number] : {std::pair(SCHEDOPT_FREQUENCY, int(FREQ_ONCE)),
                                     {SCHEDOPT_MONTH, soon.tm_mon + 1},
                                     {SCHEDOPT_MONTHDAY, soon.tm_mday},
                                     {SCHEDOPT_HOUR, soon.tm_hour},
                                     {SCHEDOPT_MINUTE, soon.tm_min}})
        set(*job, id, number);
    job->AddObject("/");
    QCOMPARE(save(*job), 0);
    QCOMPARE(saveDaily("daily"), 0);
    QVERIFY(!vSchedule::IsScheduleOutdated("once", store.c_str()));
    std::string text = sandbox::readFile(store);
    const std::string year = std::to_string(soon.tm_year + 1900);
    text.replace(text.find(year), 4, std::to_string(soon.tm_year + 1899));
    sandbox::writeFile(store, text);
    QVERIFY(vSchedule::IsScheduleOutdated("once", store.c_str()));
    QVERIFY(!vSchedule::IsScheduleOutdated("daily", store.c_str()));
    QCOMPARE(vSchedule::DeleteOldSchedules(ownCron.c_str(), store.c_str()), 1);
    QCOMPARE(names(), std::vector<std::string>{"daily"});
    QCOMPARE(linesFor(cronFile, "--schedule="), 1);
}

/// When one of the files cannot be written, all stay as they were.
void TestScheduleStore::nothingIsHalfDone()
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

void TestScheduleStore::cronSeesEachChange()
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

void TestScheduleStore::killedSavesLeaveWholeFiles()
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

void TestScheduleStore::twoSaveAtOnce()
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
void TestScheduleStore::brokenStores()
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
void TestScheduleStore::plantedLinks()
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

void TestScheduleStore::manyJobsAreListedAtOnce()
{
    QCOMPARE(saveDaily("job"), 0);
    const std::string one = sandbox::readFile(store);
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "[job" + std::to_string(i) + one.substr(one.find(']'));
    sandbox::writeFile(store, text);
    QTest::qSleep(30); // the page reads what was written long ago
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(names().size(), 500u);
    // Reading the store again for each job takes many seconds.
    QVERIFY2(timer.elapsed() < 1'000, qPrintable(QString::number(timer.elapsed())));
}

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enterAsRoot(argv);
    QCoreApplication application(argc, argv);
    TestScheduleStore test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_schedulestore.moc"
