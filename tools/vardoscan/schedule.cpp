#include "tools/vardoscan/schedule.h"

#include "base/paths.h"
#include "installation/lastscan.h"
#include "jobs/change.h"
#include "jobs/due.h"
#include "jobs/stamps.h"
#include "jobs/store.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/scan.h"
#include "tools/vardoscan/standback.h"
#include "tools/vardoscan/telling.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include <unistd.h>

namespace {

/// The bits that belong to each job. The others are the configuration's.
constexpr unsigned int jobBits = SCANFLAG_NO_DISINFECT | SCANFLAG_DISINFECT | SCANFLAG_NO_RECURSE |
                                 SCANFLAG_FOLLOW_SYMLINKS | SCANFLAG_CROSS_FS | SCANFLAG_NO_PACKED |
                                 SCANFLAG_NO_ARCHIVES | SCANFLAG_NO_MAILS | SCANFLAG_NO_HEURISTIC;

/// Options for a job's scan: members of a group can change the store, so it says what is scanned, how, and
/// what becomes of infected files, and nothing else.
Options optionsOf(const jobs::Job& job, const Options& asked)
{
    Options options;
    options.paths = job.objects;
    options.scanConf = paths::vardoConf;
    options.avConf = paths::qsavConf;
    // There is nobody to be asked.
    options.action = job.action < SCANACT_PROMPT ? job.action : static_cast<unsigned int>(SCANACT_LOG);
    options.quarantineDir = paths::quarantine;
    options.setBits = job.flags & jobBits;
    options.unsetBits = ~job.flags & jobBits;
    options.leavesRenamed = true;
    options.gentle = true;
    options.log = true;
    options.json = asked.json;
    options.all = asked.all;
    options.progress = asked.progress;
    options.quiet = asked.quiet || ::isatty(STDOUT_FILENO) == 0;
    return options;
}

void noteEnd(const ScanResult& result, jobs::Stamp& stamp)
{
    stamp.ended = std::time(nullptr);
    stamp.exitCode = result.exitCode;
    stamp.scanned = result.statistics.scFiles;
    stamp.found = result.statistics.scInfected + result.statistics.scSuspicious;
    stamp.unscanned = result.unscanned();
}

/// The scan of a job that nobody else runs.
int perform(const jobs::Job& job, const Options& asked, const ScheduleSettings& settings)
{
    Options options = optionsOf(job, asked);
    const ScanResult result = scan(options);
    const bool whole = std::find(job.objects.begin(), job.objects.end(), "/") != job.objects.end();
    if (whole && result.end == ScanResult::End::Complete && !writeLastScan())
        fail("cannot note the last scan of the computer");
    if (auto stamps = jobs::Stamps::open())
        stamps.value().update(jobs::idOf(job.name), [&](jobs::Stamp& stamp) { noteEnd(result, stamp); });
    const auto message = messageAbout(result, job.name);
    if (message && settings.notify)
        notify::tell(*message);
    return result.exitCode;
}

int run(const jobs::Job& job, jobs::Stamps& stamps, const Options& asked, const ScheduleSettings& settings)
{
    const std::string id = jobs::idOf(job.name);
    const auto held = stamps.hold(id);
    if (!held && held.error().code == EAGAIN)
        return fail("this scheduled scan is running already: " + job.name);
    if (!held)
        return fail("cannot hold the scheduled scan: " + held.error().text);
    const auto noted = stamps.update(id, [](jobs::Stamp& stamp) {
        stamp = {};
        stamp.handled = stamp.begun = std::time(nullptr);
    });
    if (!noted)
        return fail("cannot note the run: " + noted.error().text);
    return perform(job, asked, settings);
}

/// What is needed to run jobs; without it the error is told.
struct Ready
{
    base::Result<jobs::Store> store = jobs::Store::read(paths::scheduleStore);
    base::Result<jobs::Stamps> stamps = jobs::Stamps::open();

    explicit operator bool() const
    {
        if (::geteuid() != 0)
            fail("only root runs scheduled scans");
        else if (!store)
            fail("cannot read " + std::string(paths::scheduleStore) + ": " + store.error().text);
        else if (!stamps)
            fail("cannot use " + std::string(paths::scheduleStamps) + ": " + stamps.error().text);
        return ::geteuid() == 0 && store && stamps;
    }
};

/// Cron knows no years and no last days of months.
bool isRightDate(const jobs::Job& job)
{
    return (job.frequency != FREQ_ONCE && job.frequency != FREQ_MONTHLY) ||
           jobs::isDueDate(job, std::time(nullptr));
}

/// True for a job whose due time passed while nobody ran it. What was never noted begins to count now.
bool wasMissed(const jobs::Job& job, jobs::Stamps& stamps)
{
    const std::time_t now = std::time(nullptr);
    const std::string id = jobs::idOf(job.name);
    const auto stamp = stamps.read(id);
    if (!stamp)
        stamps.update(id, [now](jobs::Stamp& fresh) { fresh.handled = now; });
    const auto due = jobs::lastDue(job, now);
    return stamp && due && *due > stamp->handled;
}

void forgetOthers(const jobs::Store& store, jobs::Stamps& stamps)
{
    std::vector<std::string> ids;
    for (const jobs::Job& job : store.jobs())
        ids.push_back(jobs::idOf(job.name));
    stamps.keepOnly(ids);
}

} // namespace

int runSchedule(const Options& options)
{
    Ready ready;
    if (!ready)
        return SomethingWrong;
    const jobs::Job* job = ready.store.value().findById(options.scheduleId);
    if (!job)
        return fail("there is no such scheduled scan any more: " + options.scheduleId);
    if (!isRightDate(*job))
        return NothingFound;
    const ScheduleSettings settings = readScheduleSettings();
    standBack(settings);
    return run(*job, ready.stamps.value(), options, settings);
}

int runMissed(const Options& options)
{
    Ready ready;
    if (!ready)
        return SomethingWrong;
    forgetOthers(ready.store.value(), ready.stamps.value());
    const ScheduleSettings settings = readScheduleSettings();
    standBack(settings);
    int worst = NothingFound;
    for (const jobs::Job& job : ready.store.value().jobs()) {
        if (!wasInterrupted() && wasMissed(job, ready.stamps.value()))
            worst = std::max(worst, run(job, ready.stamps.value(), options, settings));
    }
    return worst;
}

int remakeCron()
{
    return jobs::remakeCronFile() == jobs::Outcome::Done ? static_cast<int>(NothingFound)
                                                         : fail("cannot make the file of cron");
}
