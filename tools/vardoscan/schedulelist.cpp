#include "tools/vardoscan/schedulelist.h"

#include "base/paths.h"
#include "jobs/due.h"
#include "jobs/stamps.h"
#include "jobs/store.h"
#include "tools/escape.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/scan.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace {

constexpr std::array frequencies{"once", "hourly", "daily", "weekly", "monthly"};

std::string timeText(std::time_t time, const char* format)
{
    struct tm local = {};
    ::localtime_r(&time, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &local)};
}

const char* frequencyOf(const jobs::Job& job)
{
    return job.frequency < frequencies.size() ? frequencies[job.frequency] : "?";
}

/// How the last run went, in words.
std::string resultText(const std::optional<jobs::Stamp>& stamp, bool runs)
{
    if (!stamp || stamp->begun == 0)
        return "not run yet";
    if (stamp->ended == 0)
        return runs ? "running" : "broken off";
    std::string text;
    for (const auto& [count, what] : {std::pair(stamp->found, " found"), {stamp->unscanned, " not scanned"}})
        if (count > 0)
            text += (text.empty() ? "" : ", ") + std::to_string(count) + what;
    if (text.empty())
        text = stamp->exitCode == NothingFound ? "nothing found" : "failed";
    return text;
}

struct Row
{
    const jobs::Job& job;
    std::string id;
    std::optional<std::time_t> next;
    std::optional<jobs::Stamp> stamp;
    bool runs;
};

void printText(const Row& row)
{
    constexpr char format[] = "%Y-%m-%d %H:%M";
    const bool hasRun = row.stamp && row.stamp->begun != 0;
    std::printf("%s  %-7s  %-16s  %-16s  %-13s  %s\n", row.id.c_str(), frequencyOf(row.job),
                row.next ? timeText(*row.next, format).c_str() : "-",
                hasRun ? timeText(row.stamp->begun, format).c_str() : "-",
                resultText(row.stamp, row.runs).c_str(), escapeForTerminal(row.job.name).c_str());
}

void printTime(const char* key, std::time_t time)
{
    if (time == 0)
        std::printf(",\"%s\":null", key);
    else
        std::printf(",\"%s\":\"%s\"", key, timeText(time, "%Y-%m-%dT%H:%M:%S%z").c_str());
}

void printJson(const Row& row)
{
    const jobs::Stamp stamp = row.stamp.value_or(jobs::Stamp());
    std::printf("{\"id\":\"%s\"%s,\"frequency\":\"%s\"", row.id.c_str(),
                jsonMember("name", row.job.name).c_str(), frequencyOf(row.job));
    printTime("next", row.next.value_or(0));
    printTime("last", stamp.begun);
    printTime("last_end", stamp.ended);
    std::printf(",\"running\":%s", row.runs ? "true" : "false");
    if (stamp.ended != 0)
        std::printf(",\"exit_status\":%d,\"objects\":%u,\"found\":%u,\"not_scanned\":%u", stamp.exitCode,
                    stamp.scanned, stamp.found, stamp.unscanned);
    std::printf("}\n");
}

} // namespace

int listSchedules(const Options& options)
{
    const auto store = jobs::Store::read(paths::scheduleStore);
    if (!store)
        return fail("cannot read " + std::string(paths::scheduleStore) + ": " + store.error().text);
    const auto stamps = jobs::Stamps::open();
    if (!options.json && !store.value().jobs().empty())
        std::printf("%-16s  %-7s  %-16s  %-16s  %-13s  %s\n", "ID", "WHEN", "NEXT", "LAST", "RESULT", "NAME");
    for (const jobs::Job& job : store.value().jobs()) {
        const std::string id = jobs::idOf(job.name);
        const auto stamp = stamps ? stamps.value().read(id) : std::nullopt;
        const bool runs = stamps && stamps.value().isHeld(id);
        const Row row{job, id, jobs::nextDue(job, std::time(nullptr)), stamp, runs};
        options.json ? printJson(row) : printText(row);
    }
    return NothingFound;
}
