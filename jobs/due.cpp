#include "jobs/due.h"

#include <algorithm>

namespace jobs {

namespace {

constexpr int firstYear = 1900; // of struct tm
constexpr int leapYear = 2000;
constexpr std::time_t aMinute = 60;
constexpr std::time_t threeHours = 3 * 3600; // clocks are put forward by two at most

int daysIn(int year, int month)
{
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days[month - 1] + (month == 2 && leap);
}

struct tm localTime(std::time_t time)
{
    struct tm local = {};
    ::tzset();
    ::localtime_r(&time, &local);
    return local;
}

/// The day so many days from the one of `now`, at noon, which there is on every day.
struct tm dayFrom(std::time_t now, int days)
{
    struct tm day = localTime(now);
    day.tm_mday += days;
    day.tm_hour = 12;
    day.tm_min = day.tm_sec = 0;
    day.tm_isdst = -1;
    std::mktime(&day);
    return day;
}

bool isDueOn(const Job& job, const struct tm& day)
{
    switch (job.frequency) {
    case FREQ_ONCE:
        return day.tm_year + firstYear == job.year && day.tm_mon + 1 == job.month &&
               day.tm_mday == job.monthDay;
    case FREQ_WEEKLY:
        return day.tm_wday == job.weekDay;
    case FREQ_MONTHLY:
        return day.tm_mday == std::min<int>(job.monthDay, daysIn(day.tm_year + firstYear, day.tm_mon + 1));
    default:
        return true;
    }
}

/// The job's time on that day.
std::time_t timeOn(const Job& job, struct tm day)
{
    day.tm_hour = job.hour;
    day.tm_min = job.minute;
    day.tm_sec = 0;
    day.tm_isdst = -1;
    return std::mktime(&day);
}

/// A single run's time, in the year that it has.
std::time_t timeOfRun(const Job& job)
{
    struct tm day = {};
    day.tm_year = job.year - firstYear;
    day.tm_mon = job.month - 1;
    day.tm_mday = job.monthDay;
    return timeOn(job, day);
}

bool hasRun(const Job& job)
{
    return job.year > firstYear && isValidTime(job) && job.monthDay <= daysIn(job.year, job.month);
}

/// The first time from `from` on, in steps of a minute, at which an hourly job is due.
std::time_t hourlyTime(const Job& job, std::time_t from, int step)
{
    std::time_t time = from - from % aMinute;
    while (localTime(time).tm_min != job.minute)
        time += step * aMinute;
    return time;
}

/// The due time next to `now` on the given side of it.
template <class Accept>
std::optional<std::time_t> search(const Job& job, std::time_t now, int step, Accept accept)
{
    constexpr int farthest = 62; // days, more than from one monthly run to another
    for (int days = -step; days * step <= farthest; days += step) {
        const struct tm day = dayFrom(now, days);
        if (!isDueOn(job, day))
            continue;
        const std::time_t time = timeOn(job, day);
        if (accept(time))
            return time;
    }
    return {};
}

} // namespace

bool isValidTime(const Job& job)
{
    const bool inRange = job.frequency <= FREQ_MONTHLY && job.month >= 1 && job.month <= 12 &&
                         job.monthDay >= 1 && job.monthDay <= 31 && job.weekDay <= 6 && job.hour <= 23 &&
                         job.minute <= 59;
    return inRange && (job.frequency != FREQ_ONCE || job.monthDay <= daysIn(leapYear, job.month));
}

bool settleTime(Job& job, std::time_t now)
{
    job.year = 0;
    if (!isValidTime(job))
        return false;
    if (job.frequency != FREQ_ONCE)
        return true;
    struct tm nextYear = localTime(now);
    const int thisYear = nextYear.tm_year + firstYear;
    ++nextYear.tm_year;
    nextYear.tm_isdst = -1;
    const std::time_t end = std::mktime(&nextYear);
    for (job.year = thisYear; job.year <= thisYear + 1; ++job.year)
        if (hasRun(job) && timeOfRun(job) > now && timeOfRun(job) <= end)
            return true;
    job.year = 0;
    return false;
}

std::optional<std::time_t> nextDue(const Job& job, std::time_t now)
{
    if (!isValidTime(job))
        return {};
    if (job.frequency == FREQ_ONCE)
        return hasRun(job) && timeOfRun(job) > now ? std::optional(timeOfRun(job)) : std::nullopt;
    if (job.frequency == FREQ_HOURLY)
        return hourlyTime(job, now + aMinute, 1);
    return search(job, now, 1, [now](std::time_t time) { return time > now; });
}

std::optional<std::time_t> lastDue(const Job& job, std::time_t now)
{
    if (!isValidTime(job))
        return {};
    if (job.frequency == FREQ_ONCE)
        return hasRun(job) && timeOfRun(job) <= now ? std::optional(timeOfRun(job)) : std::nullopt;
    if (job.frequency == FREQ_HOURLY)
        return hourlyTime(job, now, -1);
    return search(job, now, -1, [now](std::time_t time) { return time <= now; });
}

bool isDueDate(const Job& job, std::time_t now)
{
    const std::optional<std::time_t> last = lastDue(job, now);
    const std::optional<std::time_t> next = nextDue(job, now); // cron is early when clocks are put forward
    return (last && now - *last <= threeHours) || (next && *next - now <= threeHours);
}

bool isOutdated(const Job& job, std::time_t now)
{
    return job.frequency == FREQ_ONCE && hasRun(job) && timeOfRun(job) + aMinute <= now;
}

} // namespace jobs
