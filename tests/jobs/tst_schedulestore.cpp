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

class TestScheduleStore : public QObject
{
    Q_OBJECT

  private slots:
    void init() { makePlace(); }

    void aJobComesBackAsItWas();
    void results();
    void hostileNames();
    void objectsAreBytes();
    void singleRunsPass();
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
    QCOMPARE(again->ReadConfiguration(nullptr), 0);
    QCOMPARE(again->GetScheduleName(), "job1");
    for (const auto& [id, value] : values)
        QCOMPARE(get(*again, id), value);
    // The editor would not take a day that the month, which means nothing here, does not have.
    QCOMPARE(again->ReadSchedule(nullptr, nullptr), 0);
    QCOMPARE(get(*again, SCHEDOPT_MONTH), 1);
    QCOMPARE(get(*again, SCHEDOPT_MONTHDAY), 31);
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

void TestScheduleStore::manyJobsAreListedAtOnce()
{
    QCOMPARE(saveDaily("job"), 0);
    const std::string one = sandbox::readFile(store);
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "[job" + std::to_string(i) + one.substr(one.find(']'));
    sandbox::writeFile(store, text);
    QTest::qSleep(30); // the page reads what was written long ago
    const std::clock_t start = std::clock();
    QCOMPARE(names().size(), 500u);
    // Reading the store again for each job takes many seconds of the processor.
    QVERIFY(std::clock() - start < CLOCKS_PER_SEC);
}

VARDO_ROOT_TEST_MAIN(TestScheduleStore)
#include "tst_schedulestore.moc"
