#include "base/paths.h"
#include "jobs/due.h"
#include "jobs/stamps.h"
#include "quarantine/record.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"
#include "tests/tools/desktop.h"
#include "tests/tools/schedulehome.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <ctime>
#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;
using namespace schedulehome;
using Bytes = QByteArray;

namespace {

constexpr char logs[] = "/var/Quillstone/var/log/vardo";
constexpr std::time_t aDay = 24 * 3600;

/// A single run at that time.
jobs::Job once(const std::string& name, std::time_t at)
{
    struct tm local = {};
    ::localtime_r(&at, &local);
    jobs::Job job = jobNamed(name);
    job.frequency = FREQ_ONCE;
    job.year = local.tm_year + 1900;
    job.month = static_cast<unsigned char>(local.tm_mon + 1);
    job.monthDay = static_cast<unsigned char>(local.tm_mday);
    job.hour = static_cast<unsigned char>(local.tm_hour);
    job.minute = static_cast<unsigned char>(local.tm_min);
    return job;
}

QStringList runOf(const jobs::Job& job)
{
    return {"--schedule=" + QString::fromStdString(jobs::idOf(job.name))};
}

void setHandled(const jobs::Job& job, std::time_t handled)
{
    auto stamps = jobs::Stamps::open();
    if (!stamps || !stamps.value().update(jobs::idOf(job.name), [=](jobs::Stamp& s) { s.handled = handled; }))
        qFatal("no stamps");
}

/// What --list-schedules says of a job.
QJsonObject listed(const jobs::Job& job)
{
    for (const Bytes& line : vardoscan({"--list-schedules", "--json"}).out.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object["name"] == QString::fromStdString(job.name))
            return object;
    }
    return {};
}

/// All scan logs, which go.
Bytes takeLogs()
{
    Bytes text;
    for (const fs::directory_entry& entry : fs::directory_iterator(logs)) {
        text += QByteArray::fromStdString(sandbox::readFile(entry.path()));
        fs::remove(entry);
    }
    return text;
}

} // namespace

/// Scheduled scans with the service and the directories of an installation.
class TestSchedule : public QObject
{
    Q_OBJECT

  private slots:
    void init() { schedulehome::make(); }
    void runsLikeTheWindow();
    void scanOfTheComputerIsNoted();
    void onlyWhenItShould();
    void endsInOrderWhenTold();
    void missedOnesRunOnce();
    void tellsPeopleAtTheirDesktops();
};

void TestSchedule::runsLikeTheWindow()
{
    const jobs::Job job = jobNamed("at \"night\" ü%s");
    QVERIFY(save(job));
    QCOMPARE(listed(job)["last"], QJsonValue(QJsonValue::Null));
    infect("bad");
    infect("out of action.qst");
    const Outcome outcome = vardoscan(runOf(job));
    QCOMPARE(outcome.code, 1);
    QCOMPARE(outcome.out + outcome.err, Bytes()); // cron would send it by mail
    QVERIFY(!isThere("bad") && isThere("out of action.qst"));
    const auto records = quarantine::parseRecords(sandbox::readFile(paths::quarantineRecords));
    QCOMPARE(records.size(), std::size_t(1));
    QVERIFY(fs::exists(fs::path(paths::quarantine) / "bad"));
    const Bytes log = takeLogs();
    QVERIFY2(log.contains("Scan action\t\t\t: Quarantine\n") &&
                 log.contains("bad QUARANTINED [Vardo.Marker]") && log.contains("Scan Statistics"),
             log.constData());
    const QJsonObject state = listed(job);
    QCOMPARE(state["exit_status"], QJsonValue(1));
    QCOMPARE(state["found"], QJsonValue(1));
    QVERIFY(!state["next"].toString().isEmpty() && !state["last_end"].toString().isEmpty());
    QVERIFY(!fs::exists(paths::lastScan));
    const Outcome text = vardoscan({"--list-schedules"}, true);
    QVERIFY(text.out.contains("not run yet") && text.out.contains(job.name.c_str())); // results are root's
}

void TestSchedule::scanOfTheComputerIsNoted()
{
    jobs::Job job = jobNamed("all");
    job.objects = {"/"}; // which has no other file systems here
    job.flags = SCANFLAG_NO_DISINFECT;
    QVERIFY(save(job));
    const fs::path victim = "/tmp/victim";
    sandbox::writeFile(victim, "as it was");
    member("ln -s /tmp/victim " + std::string(paths::lastScan));
    QCOMPARE(vardoscan(runOf(job)).code, 0);
    QCOMPARE(sandbox::readFile(victim), std::string("as it was"));
    fs::remove(paths::lastScan);
    QCOMPARE(vardoscan(runOf(job)).code, 0);
    QCOMPARE(sandbox::readFile(paths::lastScan).size(), std::size_t(17)); // 22/11/2026 09:30 and a line end
}

void TestSchedule::onlyWhenItShould()
{
    infect("bad");
    const jobs::Job job = jobNamed("daily");
    QVERIFY(save(job));
    const Outcome other = vardoscan(runOf(job), true);
    QCOMPARE(other.code, 2);
    QVERIFY(other.err.contains("only root"));
    {
        const auto stamps = jobs::Stamps::open();
        const auto held = stamps.value().hold(jobs::idOf(job.name));
        const Outcome second = vardoscan(runOf(job));
        QCOMPARE(second.code, 2);
        QVERIFY2(second.err.contains("running already: daily"), second.err.constData());
    }
    const Outcome gone = vardoscan(runOf(jobNamed("gone")));
    QCOMPARE(gone.code, 2);
    QVERIFY(gone.err.contains("no such scheduled scan"));
    // On the same day of another year.
    const jobs::Job past = once("past", std::time(nullptr) - 365 * aDay);
    QVERIFY(save(past));
    QCOMPARE(vardoscan(runOf(past)).code, 0);
    QVERIFY(isThere("bad"));
    const jobs::Job today = once("today", std::time(nullptr));
    QVERIFY(save(today));
    QCOMPARE(vardoscan(runOf(today)).code, 1);
    QVERIFY(!isThere("bad"));
}

void TestSchedule::endsInOrderWhenTold()
{
    const jobs::Job job = jobNamed("daily");
    QVERIFY(save(job));
    infect("bad");
    QCOMPARE(vardoscan(runOf(job)).code, 1); // which leaves a service
    const auto service = pid_t(std::stoi(sandbox::readFile(paths::servicePid)));
    takeLogs();
    ::kill(service, SIGSTOP);
    QProcess process;
    process.start(paths::vardoScan, runOf(job));
    QTRY_COMPARE(listed(job)["running"], QJsonValue(true));
    QTRY_VERIFY(!fs::is_empty(logs));
    process.terminate();
    const Outcome outcome = wait(process);
    ::kill(service, SIGCONT);
    QCOMPARE(outcome.code, 2);
    QVERIFY(takeLogs().endsWith("\nScan cancelled before completion\n"));
    QCOMPARE(listed(job)["running"], QJsonValue(false));
    QCOMPARE(listed(job)["exit_status"], QJsonValue(2));
}

void TestSchedule::missedOnesRunOnce()
{
    const jobs::Job daily = jobNamed("daily"), late = once("late", std::time(nullptr) - 3 * aDay),
                    fresh = jobNamed("fresh"), done = jobNamed("done");
    for (const jobs::Job& job : {daily, late, fresh, done})
        QVERIFY(save(job));
    fs::remove_all(paths::scheduleStamps);
    for (const jobs::Job& job : {daily, late})
        setHandled(job, std::time(nullptr) - 10 * aDay);
    setHandled(done, std::time(nullptr));
    infect("bad");
    QCOMPARE(vardoscan({"--missed"}).code, 1);
    QVERIFY(!isThere("bad"));
    for (const jobs::Job& job : {daily, late})
        QVERIFY(!listed(job)["last_end"].isNull());
    for (const jobs::Job& job : {fresh, done})
        QVERIFY(listed(job)["last_end"].isNull());
    QCOMPARE(takeLogs().count("Scan Statistics"), 2);
    QCOMPARE(vardoscan({"--missed"}).code, 0);
    QCOMPARE(takeLogs(), Bytes());
}

void TestSchedule::tellsPeopleAtTheirDesktops()
{
    Desktop desktop;
    jobs::Job job = jobNamed("<b>night</b> &\n");
    job.action = SCANACT_LOG;
    QVERIFY(save(job));
    infect("<i>\x1b]0;owned\x07");
    QCOMPARE(vardoscan(runOf(job)).code, 1);
    const Bytes shown = desktop.shown();
    QVERIFY2(
        shown.contains("Notify \"Vardo\" 0 \"vardo\" \"Vardo found 1 infected file\" "
                       "\"Scheduled scan: &lt;b&gt;night&lt;/b&gt; &amp;\\x0A\nNothing was done about it."),
        shown.constData());
    QVERIFY(!shown.contains("owned")); // whose files these are is not known
    job.objects = {"/nowhere"};
    QVERIFY(save(job));
    QCOMPARE(vardoscan(runOf(job)).code, 2);
    QVERIFY(desktop.shown().contains("\"Vardo could not scan"));
    sandbox::writeFile(paths::vardoConf, "[Schedule]\nNotify = no\n");
    QCOMPARE(vardoscan(runOf(job)).code, 2);
    QCOMPARE(desktop.shown(), Bytes());
    // By hand, on one's own bus and with the names.
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/user/1000/bus", 1);
    const Outcome byHand = vardoscan({"--notify", files}, true);
    QVERIFY2(byHand.code == 1, byHand.err.constData());
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    const Bytes own = desktop.shown();
    QVERIFY2(own.contains("/&lt;i&gt;\\x1B]0;owned\\x07 (Vardo.Marker)"), own.constData());
}

VARDO_ROOT_TEST_MAIN(TestSchedule)
#include "tst_schedule.moc"
