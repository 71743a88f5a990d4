#include "engine/schedule.h"

#include "libvardo/ownedtext.h"

#include <cstdlib>
#include <new>

#include <sys/stat.h>

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

int vSchedule::GetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    const auto give = [value](unsigned char field) {
        *static_cast<unsigned char*>(value) = field;
        return 0;
    };
    switch (id) {
    case SCHEDOPT_ACTION:
        return ScanConfig::GetOption(SCANOPT_ACTION, value);
    case SCHEDOPT_SCANFLAGS:
        return ScanConfig::GetOption(SCANOPT_SCANOPTS, value);
    case SCHEDOPT_FREQUENCY:
        return give(frequency);
    case SCHEDOPT_MONTH:
        return give(month);
    case SCHEDOPT_MONTHDAY:
        return give(monthDay);
    case SCHEDOPT_WEEKDAY:
        return give(weekDay);
    case SCHEDOPT_HOUR:
        return give(hour);
    case SCHEDOPT_MINUTE:
        return give(minute);
    default:
        return -1;
    }
}

int vSchedule::SetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    // Whether they make a date together is for SaveSchedule to say.
    const auto take = [value](unsigned char& field) {
        field = *static_cast<unsigned char*>(value);
        return 0;
    };
    switch (id) {
    case SCHEDOPT_ACTION:
        return ScanConfig::SetOption(SCANOPT_ACTION, value);
    case SCHEDOPT_SCANFLAGS:
        return ScanConfig::SetOption(SCANOPT_SCANOPTS, value);
    case SCHEDOPT_FREQUENCY:
        return take(frequency);
    case SCHEDOPT_MONTH:
        return take(month);
    case SCHEDOPT_MONTHDAY:
        return take(monthDay);
    case SCHEDOPT_WEEKDAY:
        return take(weekDay);
    case SCHEDOPT_HOUR:
        return take(hour);
    case SCHEDOPT_MINUTE:
        return take(minute);
    default:
        return -1;
    }
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
    struct stat status = {};
    const bool isFile = ::stat(path, &status) == 0 && S_ISREG(status.st_mode);
    const char type = isFile ? Vardo::ScanObjFile : Vardo::ScanObjDir;
    if (scanObjects)
        return scanObjects->AddLast(path, type);
    scanObjects = new (std::nothrow) VardoObject(path, type);
    return scanObjects ? 0 : -1;
}

// The store and its cron entries are not there yet: there is no job to be read, saved or deleted.

int vSchedule::ReadConfiguration(const char*)
{
    return -1;
}

int vSchedule::ReadSchedule(const char*, const char*)
{
    return -1;
}

int vSchedule::SaveSchedule(const char*, const char*, const char*, bool)
{
    return SCHEDERR_SAVE;
}

bool vSchedule::IsScheduleOutdated(const char*, const char*)
{
    return false;
}

int vSchedule::DeleteSchedule(const char*, const char*, const char*)
{
    return -1;
}

int vSchedule::DeleteOldSchedules(const char*, const char*)
{
    return -1;
}
