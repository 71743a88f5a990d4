#include "jobs/crontab.h"
#include "jobs/due.h"

#include <QDate>
#include <QTest>

#include <ctime>
#include <set>
#include <sstream>

namespace {

constexpr std::time_t aMinute = 60;
constexpr std::time_t aDay = 86'400;
const QDate firstDay(2027, 1, 1);
const QDate lastDay(2030, 12, 31); // 2028 is a leap year

std::time_t timeOf(const QDate& date, int hour = 0, int minute = 0)
{
    return QDate(1970, 1, 1).daysTo(date) * aDay + hour * 3600 + minute * aMinute;
}

/// The numbers that a field of a cron line stands for: `*`, or a number or range.
std::set<int> fieldOf(const std::string& text, int least, int most)
{
    int from = least;
    int to = most;
    if (text != "*" && std::sscanf(text.c_str(), "%d-%d", &from, &to) == 1)
        to = from;
    std::set<int> numbers;
    for (; from <= to; ++from)
        numbers.insert(from);
    return numbers;
}

/// The times of all four years at which cron starts what the line says.
std::set<std::time_t> startsOf(const std::string& line)
{
    std::istringstream words(line);
    std::string minute, hour, day, month, weekDay;
    words >> minute >> hour >> day >> month >> weekDay;
    std::set<std::time_t> starts;
    for (QDate date = firstDay; date <= lastDay; date = date.addDays(1)) {
        const bool onDay = fieldOf(day, 1, 31).contains(date.day());
        const bool onWeekDay = fieldOf(weekDay, 0, 7).contains(date.dayOfWeek() % 7);
        // When both are given, either will do.
        const bool either = day != "*" && weekDay != "*" && (onDay || onWeekDay);
        if (!fieldOf(month, 1, 12).contains(date.month()) || !(either || (onDay && onWeekDay)))
            continue;
        for (const int h : fieldOf(hour, 0, 23))
            for (const int m : fieldOf(minute, 0, 59))
                starts.insert(timeOf(date, h, m));
    }
    return starts;
}

jobs::Job jobOf(unsigned char frequency, int month, int day, int weekDay, int hour, int minute)
{
    jobs::Job job;
    job.name = "x % y";
    job.frequency = frequency;
    job.month = static_cast<unsigned char>(month);
    job.monthDay = static_cast<unsigned char>(day);
    job.weekDay = static_cast<unsigned char>(weekDay);
    job.hour = static_cast<unsigned char>(hour);
    job.minute = static_cast<unsigned char>(minute);
    return job;
}

/// What a person expects.
std::set<std::time_t> calendarOf(const jobs::Job& job)
{
    std::set<std::time_t> times;
    for (QDate date = firstDay; date <= lastDay; date = date.addDays(1)) {
        const bool due = job.frequency == FREQ_WEEKLY ? date.dayOfWeek() % 7 == job.weekDay
                         : job.frequency == FREQ_MONTHLY
                             ? date.day() == std::min<int>(job.monthDay, date.daysInMonth())
                         : job.frequency == FREQ_ONCE ? date == QDate(job.year, job.month, job.monthDay)
                                                      : true;
        const bool hourly = job.frequency == FREQ_HOURLY;
        for (int hour = hourly ? 0 : job.hour; due && hour <= (hourly ? 23 : job.hour); ++hour)
            times.insert(timeOf(date, hour, job.minute));
    }
    return times;
}

void useZone(const char* zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

} // namespace

class TestDue : public QObject
{
    Q_OBJECT

  private slots:
    void init() { useZone("UTC0"); }

    /// Over four years, the lines of cron and the run's look at the date are the calendar; and so are the due
    /// times that are shown.
    void everyFrequencyKeepsTheCalendar()
    {
        std::vector<jobs::Job> all = {jobOf(FREQ_HOURLY, 2, 31, 0, 5, 59), jobOf(FREQ_DAILY, 2, 30, 0, 0, 0)};
        for (const int weekDay : {0, 3, 6})
            all.push_back(jobOf(FREQ_WEEKLY, 1, 1, weekDay, 23, 59));
        for (const int day : {1, 28, 29, 30, 31})
            all.push_back(jobOf(FREQ_MONTHLY, 6, day, 2, day == 31 ? 23 : 0, day == 31 ? 59 : 0));
        for (const QDate& date : {QDate(2028, 2, 29), QDate(2029, 1, 1), QDate(2027, 12, 31)}) {
            all.push_back(jobOf(FREQ_ONCE, date.month(), date.day(), 2, 12, 30));
            QVERIFY(jobs::settleTime(all.back(), timeOf(date.addDays(-200))));
            QCOMPARE(all.back().year, date.year());
        }
        for (const jobs::Job& job : all) {
            std::set<std::time_t> starts = startsOf(jobs::cronLines(job));
            // Cron is some seconds late.
            std::erase_if(starts, [&](std::time_t start) { return !jobs::isDueDate(job, start + 2); });
            const std::set<std::time_t> expected = calendarOf(job);
            QVERIFY(!expected.empty() && starts == expected);
            std::time_t before = timeOf(firstDay) - 1;
            for (const std::time_t due : expected) {
                QCOMPARE(jobs::nextDue(job, before), due);
                QCOMPARE(jobs::lastDue(job, due), due);
                QVERIFY(jobs::lastDue(job, due - 1) != due);
                QCOMPARE(jobs::isOutdated(job, due + 2 * aMinute), job.frequency == FREQ_ONCE);
                QVERIFY(!jobs::isOutdated(job, due + 2)); // cron has just started it
                before = due;
            }
        }
    }

    void aSingleRunIsTheNextOfItsDate()
    {
        const std::time_t now = timeOf({2027, 11, 21}, 12, 0);
        const struct
        {
            int month, day, hour, minute, year; ///< 0: refused
        } cases[] = {{11, 21, 12, 1, 2027},  {11, 21, 12, 0, 2028}, {11, 21, 11, 59, 2028},
                     {11, 20, 23, 59, 2028}, {12, 31, 0, 0, 2027},  {1, 1, 0, 0, 2028},
                     {2, 29, 0, 0, 2028},    {4, 31, 0, 0, 0},      {2, 30, 0, 0, 0},
                     {13, 1, 0, 0, 0},       {0, 1, 0, 0, 0},       {1, 0, 0, 0, 0},
                     {1, 1, 24, 0, 0},       {1, 1, 0, 60, 0}};
        for (const auto& [month, day, hour, minute, year] : cases) {
            jobs::Job job = jobOf(FREQ_ONCE, month, day, 0, hour, minute);
            QCOMPARE(jobs::settleTime(job, now), year != 0);
            QCOMPARE(job.year, year);
        }
        jobs::Job leapDay = jobOf(FREQ_ONCE, 2, 29, 0, 12, 0);
        QVERIFY(!jobs::settleTime(leapDay, timeOf({2027, 2, 10})));
        QVERIFY(jobs::settleTime(leapDay, timeOf({2027, 3, 1}, 12)));
        QVERIFY(!jobs::settleTime(leapDay, timeOf({2028, 2, 29}, 12)));
        jobs::Job weekly = jobOf(FREQ_WEEKLY, 4, 31, 7, 0, 0);
        QVERIFY(!jobs::settleTime(weekly, now));
        weekly.weekDay = 6; // the date does not count
        QVERIFY(jobs::settleTime(weekly, now));
        weekly.frequency = 5;
        QVERIFY(!jobs::settleTime(weekly, now) && jobs::cronLines(weekly).empty());
    }

    /// One time a day, on the day when the clocks go forward at two and when they go back at three as well.
    void clocksAreChanged()
    {
        useZone("CET-1CEST,M3.5.0,M10.5.0/3");
        const jobs::Job daily = jobOf(FREQ_DAILY, 1, 1, 0, 2, 30);
        std::set<QString> days;
        std::time_t due = timeOf({2027, 1, 1}, 12);
        for (int i = 0; i < 365; ++i) {
            due = jobs::nextDue(daily, due).value();
            char day[32];
            std::strftime(day, sizeof day, "%F", std::localtime(&due));
            days.insert(day);
        }
        QCOMPARE(days.size(), 365u);
        // Cron makes up for what was left out as soon as it is three.
        const jobs::Job monthly = jobOf(FREQ_MONTHLY, 1, 28, 0, 2, 30);
        QVERIFY(jobs::isDueDate(monthly, timeOf({2027, 3, 28}, 1, 0)));
        QVERIFY(!jobs::isDueDate(monthly, timeOf({2027, 3, 27}, 1, 30)));
        const jobs::Job hourly = jobOf(FREQ_HOURLY, 1, 1, 0, 0, 15);
        for (std::time_t hour = timeOf({2027, 10, 30}); hour < timeOf({2027, 11, 1}); hour += 3600)
            QCOMPARE(jobs::nextDue(hourly, hour), hour + 15 * aMinute);
    }
};

QTEST_GUILESS_MAIN(TestDue)
#include "tst_due.moc"
