#pragma once

#include "jobs/job.h"

#include <string>
#include <vector>

/// What cron is told, in the format of /etc/cron.d: ids and numbers, nothing that a person typed.
namespace jobs {

/// The lines that start this job, with their ends; none for a time that does not exist. Cron starts a single
/// run once a year and a monthly one of the last days of a month on up to four days: isDueDate() says which.
std::string cronLines(const Job& job);

/// A whole cron file. Missed jobs are looked for at each start of the machine if there are jobs.
std::string cronText(const std::vector<Job>& jobs);

} // namespace jobs
