#pragma once

#include "jobs/job.h"

#include <ctime>
#include <optional>

/// When jobs are due, in local time. A time that is left out when the clocks go forward counts as much later
/// as they go forward; one that comes twice counts once. Only hourly jobs are due at both.
namespace jobs {

/// True when the fields make a time that a job can be due at, whatever the year.
bool isValidTime(const Job& job);

/// Makes the job ready to be stored: a single run gets the year of its next due time. False when the time is
/// impossible, which the next 29 February counts as while it is a year or more away.
bool settleTime(Job& job, std::time_t now);

/// The first due time after `now`, or nothing if there is none.
std::optional<std::time_t> nextDue(const Job& job, std::time_t now);

/// The latest due time that is not after `now`, or nothing if there was none. It knows nothing of when the
/// job was made.
std::optional<std::time_t> lastDue(const Job& job, std::time_t now);

/// True for what cron was right to start at `now`: cron knows no years and no last days of months.
bool isDueDate(const Job& job, std::time_t now);

/// True for a single run whose minute is over.
bool isOutdated(const Job& job, std::time_t now);

} // namespace jobs
