#include "engine/schedule.h"

#include "jobs/change.h"
#include "jobs/due.h"
#include "jobs/store.h"
#include "libvardo/options.h"
#include "libvardo/ownedtext.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The id that an option of the base class has there; 0 for others.
unsigned baseOption(unsigned id)
{
    switch (id) {
    case SCHEDOPT_ACTION:
        return SCANOPT_ACTION;
    case SCHEDOPT_SCANFLAGS:
        return SCANOPT_SCANOPTS;
    default:
        return 0;
    }
}

/// What cron can be told to scan.
bool isObject(const std::string& path)
{
    struct stat status = {};
    return path.starts_with('/') && ::stat(path.c_str(), &status) == 0;
}

char typeOf(const char* path)
{
    struct stat status = {};
    const bool isFile = ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? Vardo::ScanObjFile : Vardo::ScanObjDir;
}

/// A list of these objects, null for none or when out of memory.
VardoObject* listOf(const std::vector<std::string>& objects)
{
    VardoObject* list = nullptr;
    VardoObject* last = nullptr;
    for (const std::string& path : objects) {
        const char type = typeOf(path.c_str());
        if (last ? last->AddNext(path.c_str(), type) < 0
                 : !(list = new (std::nothrow) VardoObject(path.c_str(), type))) {
            if (list)
                list->ClearList();
            return nullptr;
        }
        last = last ? last->objNext : list;
    }
    return list;
}

int resultOf(jobs::Outcome outcome)
{
    switch (outcome) {
    case jobs::Outcome::Done:
        return 0;
    case jobs::Outcome::Exists:
        return SCHEDERR_EXISTS;
    case jobs::Outcome::NoCron:
        return SCHEDERR_CRON;
    default:
        return SCHEDERR_SAVE;
    }
}

} // namespace

vSchedule::vSchedule(const char* name, const char* confFile)
    : ScanConfig(confFile)
    , scheduleName(vardo::ownedText(name))
    , frequency(FREQ_ONCE)
    , month(1)
    , monthDay(1)
    , weekDay(0)
    , hour(0)
    , minute(0)
    , second(0)
    , scanObjects(nullptr)
    , request(nullptr)
    , result(nullptr)
    , extra(nullptr)
{
}

vSchedule::~vSchedule()
{
    ClearObjectList();
    std::free(scheduleName);
}

const char* vSchedule::GetScheduleName()
{
    return scheduleName;
}

int vSchedule::SetScheduleName(const char* name)
{
    return vardo::assignText(scheduleName, name) ? 0 : -1;
}

std::vector<vardo::Option> EngineOptions::of(vSchedule& schedule)
{
    using namespace vardo;
    // Whether they make a date together is for SaveSchedule to say.
    const auto byte = [](unsigned char& field) { return Number<unsigned char>{&field, 0, 255}; };
    return {
        {SCHEDOPT_FREQUENCY, byte(schedule.frequency)}, {SCHEDOPT_MONTH, byte(schedule.month)},
        {SCHEDOPT_MONTHDAY, byte(schedule.monthDay)},   {SCHEDOPT_WEEKDAY, byte(schedule.weekDay)},
        {SCHEDOPT_HOUR, byte(schedule.hour)},           {SCHEDOPT_MINUTE, byte(schedule.minute)},
    };
}

int vSchedule::GetOption(unsigned int id, void* value)
{
    const unsigned base = baseOption(id);
    return base ? ScanConfig::GetOption(base, value) : vardo::giveOption(EngineOptions::of(*this), id, value);
}

int vSchedule::SetOption(unsigned int id, void* value)
{
    const unsigned base = baseOption(id);
    return base ? ScanConfig::SetOption(base, value) : vardo::takeOption(EngineOptions::of(*this), id, value);
}

int vSchedule::GetObjectList(VardoObject** list)
{
    if (!list)
        return -1;
    *list = nullptr;
    if (!scanObjects)
        return 0;
    auto* copy = new (std::nothrow) VardoObject(scanObjects);
    if (!copy)
        return -1;
    if (copy->AddList(scanObjects->objNext) < 0) {
        copy->ClearList();
        return -1;
    }
    *list = copy;
    return 0;
}

void vSchedule::ClearObjectList()
{
    if (scanObjects)
        scanObjects->ClearList();
    scanObjects = nullptr;
}

int vSchedule::AddObject(const char* path)
{
    if (!path)
        return -1;
    const char type = typeOf(path);
    if (scanObjects)
        return scanObjects->AddLast(path, type);
    scanObjects = new (std::nothrow) VardoObject(path, type);
    return scanObjects ? 0 : -1;
}

int vSchedule::ReadConfiguration(const char* file)
{
    const char* path = file ? file : ScanConfFile;
    if (!scheduleName || !path)
        return -1;
    const auto store = jobs::Store::readCached(path);
    const jobs::Job* job = store ? store.value()->find(scheduleName) : nullptr;
    VardoObject* objects = job ? listOf(job->objects) : nullptr;
    if (!objects || !vardo::assignText(scheduleName, job->name.c_str())) {
        if (objects)
            objects->ClearList();
        return -1;
    }
    ClearObjectList();
    scanObjects = objects;
    frequency = job->frequency;
    month = job->month;
    monthDay = job->monthDay;
    weekDay = job->weekDay;
    hour = job->hour;
    minute = job->minute;
    action = job->action;
    scanOpts = job->flags;
    return 0;
}

int vSchedule::ReadSchedule(const char* name, const char* confFile)
{
    if (name && !vardo::assignText(scheduleName, name))
        return -1;
    const int outcome = ReadConfiguration(confFile);
    // Only a single run has a month. An editor that compares day and month of others would not take one whose
    // month happens to be too short.
    constexpr unsigned char inEachMonth = 28;
    if (outcome >= 0 && frequency != FREQ_ONCE && monthDay > inEachMonth)
        month = 1;
    return outcome;
}

int vSchedule::SaveSchedule(const char* cronFile, const char* user, const char* confFile, bool existing)
{
    const char* store = confFile ? confFile : ScanConfFile;
    if (::geteuid() != 0 || !cronFile || (user && user != std::string_view("root")))
        return SCHEDERR_CRON;
    if (!scheduleName || !store)
        return SCHEDERR_SAVE;
    jobs::Job job{scheduleName, frequency, 0, month, monthDay, weekDay, hour, minute, action, scanOpts, {}};
    for (const VardoObject* object = scanObjects; object; object = object->objNext)
        job.objects.emplace_back(object->objName ? object->objName : "");
    if (job.objects.empty() || !std::all_of(job.objects.begin(), job.objects.end(), isObject))
        return SCHEDERR_OBJECTS;
    if (!jobs::settleTime(job, std::time(nullptr)))
        return SCHEDERR_TIME;
    return resultOf(jobs::saveJob({store, cronFile}, job, existing));
}

bool vSchedule::IsScheduleOutdated(const char* name, const char* confFile)
{
    if (!name || !confFile)
        return false;
    const auto store = jobs::Store::readCached(confFile);
    const jobs::Job* job = store ? store.value()->find(name) : nullptr;
    return job && jobs::isOutdated(*job, std::time(nullptr));
}

int vSchedule::DeleteSchedule(const char* cronFile, const char* name, const char* confFile)
{
    if (!cronFile || !name || !confFile)
        return -1;
    return jobs::deleteJob({confFile, cronFile}, name) == jobs::Outcome::Done ? 0 : -1;
}

int vSchedule::DeleteOldSchedules(const char* cronFile, const char* confFile)
{
    if (!cronFile || !confFile)
        return -1;
    const base::Result<int> removed = jobs::deleteOutdated({confFile, cronFile}, std::time(nullptr));
    return removed ? removed.value() : -1;
}
