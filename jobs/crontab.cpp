#include "jobs/crontab.h"

#include "base/paths.h"
#include "jobs/due.h"

namespace jobs {

namespace {

constexpr char head[] = "# The scheduled scans of Vardo, which makes this file anew whenever they change.\n"
                        "SHELL=/bin/sh\n"
                        "PATH=/usr/sbin:/usr/bin:/sbin:/bin\n"
                        "MAILTO=\"\"\n";

/// What stands behind the minute.
std::string timeFields(const Job& job)
{
    constexpr int lastCommonDay = 28; // of all months
    const std::string hour = std::to_string(job.hour);
    const std::string day = std::to_string(job.monthDay);
    switch (job.frequency) {
    case FREQ_ONCE:
        return hour + " " + day + " " + std::to_string(job.month) + " *";
    case FREQ_HOURLY:
        return "* * * *";
    case FREQ_WEEKLY:
        return hour + " * * " + std::to_string(job.weekDay);
    case FREQ_MONTHLY:
        return hour + " " + (job.monthDay > lastCommonDay ? "28-31" : day) + " * *";
    default:
        return hour + " * * *";
    }
}

std::string command(const std::string& argument)
{
    return std::string(" root ") + paths::vardoScan + " " + argument + "\n";
}

} // namespace

std::string cronLines(const Job& job)
{
    if (!isValidTime(job) || (job.frequency == FREQ_ONCE && job.year == 0))
        return {};
    return std::to_string(job.minute) + " " + timeFields(job) + command("--schedule=" + idOf(job.name));
}

std::string cronText(const std::vector<Job>& jobs)
{
    std::string lines;
    for (const Job& job : jobs)
        lines += cronLines(job);
    if (!lines.empty())
        lines += "@reboot" + command("--missed");
    return head + lines;
}

} // namespace jobs
