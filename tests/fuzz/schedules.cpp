#include "jobs/crontab.h"
#include "jobs/due.h"
#include "jobs/store.h"
#include "tests/fuzz/demand.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

// libFuzzer target: takes the input as a schedule store, saves and deletes jobs in it, and stops when another
// job changes or cron would be told something that came from the store.

namespace {

std::vector<jobs::Job> without(std::vector<jobs::Job> all, const std::string& name)
{
    std::erase_if(all, [&](const jobs::Job& job) { return job.name == name; });
    return all;
}

void checkChanges(const jobs::Store& store, const jobs::Job& job)
{
    constexpr std::time_t now = 1'900'000'000;
    static_cast<void>(jobs::isDueDate(job, now) || jobs::isOutdated(job, now));
    const std::vector<jobs::Job> others = without(store.jobs(), job.name);
    const jobs::Store rest(store.textWithout(job.name));
    demand(rest.jobs() == others, "a deletion changed another job");
    const auto text = rest.textWith(job);
    demand(!text || without(jobs::Store(*text).jobs(), job.name) == others, "a save changed another job");
    demand(!text || jobs::Store(*text).find(job.name), "a saved job is not found");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const jobs::Store store(std::string(reinterpret_cast<const char*>(data), size));
    for (const jobs::Job& job : store.jobs())
        checkChanges(store, job);
    const std::string lines = jobs::cronText(store.jobs());
    const auto harmless = [](char c) {
        return (c >= 'a' && c <= 'z') ||
               std::string_view("0123456789 \n*-=/@#:\"ABEHILMOPQSTV,.").find(c) != std::string_view::npos;
    };
    demand(std::all_of(lines.begin(), lines.end(), [&](char c) { return harmless(c); }),
           "cron is told a text");
    return 0;
}
