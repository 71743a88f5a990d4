#pragma once

#include "base/result.h"
#include "jobs/job.h"

#include <ctime>
#include <string>

/// Changes of the schedule store. Root alone makes them: each one makes the files of cron anew, and either
/// all files change or none does. Whoever changes them at the same time waits; a process that is killed
/// leaves each file whole, the old one or the new one. No link is followed or written through in directories
/// that others may write to.
namespace jobs {

/// The store and the cron file that stands beside it for people to read. Cron itself reads paths::cronFile,
/// which belongs to paths::scheduleStore and stays as it is when another store changes.
struct Files
{
    std::string store;
    std::string cronFile;
};

enum class Outcome {
    Done,
    NotThere, ///< no such job
    Exists,   ///< there is a job of that name
    NotStored,
    NoCron, ///< the caller is not root, or a cron file cannot be written
};

/// Puts the job into the store: in the place of the one of that name if `replace`, else as a new one. The
/// time must have been settled, the objects checked. NotStored for what the store cannot carry.
Outcome saveJob(const Files& files, const Job& job, bool replace);

/// Removes the job that has this name or whose section has this text.
Outcome deleteJob(const Files& files, const std::string& name);

/// Removes the single runs that are over at `now`. The value is how many there were.
base::Result<int> deleteOutdated(const Files& files, std::time_t now);

/// Makes paths::cronFile anew from paths::scheduleStore where it is not as it should be.
Outcome remakeCronFile();

} // namespace jobs
