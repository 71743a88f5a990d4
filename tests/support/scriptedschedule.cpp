#include "tests/support/scriptedboundary.h"

#include <cstdlib>

using scripted::call;
using scripted::shown;

namespace {

/// The working copies of the living vSchedule objects. They are used on one thread only.
std::map<const vSchedule*, scripted::Schedule>& workingCopies()
{
    static std::map<const vSchedule*, scripted::Schedule> copies;
    return copies;
}

int transferOption(scripted::Schedule& schedule, unsigned int id, const scripted::OptionTransfer& transfer)
{
    if (id == SCHEDOPT_ACTION)
        return transfer.number(schedule.action);
    if (id == SCHEDOPT_SCANFLAGS)
        return transfer.number(schedule.scanFlags);
    if (id >= SCHEDOPT_FREQUENCY && id <= SCHEDOPT_MINUTE)
        return transfer.number(schedule.times[id]);
    return -1;
}

} // namespace

vSchedule::vSchedule(const char* name, const char* confFile)
    : ScanConfig(confFile)
    , scheduleName(name ? strdup(name) : nullptr)
    , frequency(0)
    , month(0)
    , monthDay(0)
    , weekDay(0)
    , hour(0)
    , minute(0)
    , second(0)
    , scanObjects(nullptr)
    , request(nullptr)
    , result(nullptr)
    , extra(nullptr)
{
    call("vSchedule", shown(name), shown(confFile));
    workingCopies()[this] = {};
}

vSchedule::~vSchedule()
{
    call("~vSchedule");
    workingCopies().erase(this);
    std::free(scheduleName);
}

int vSchedule::ReadConfiguration(const char* file)
{
    const int outcome = call("vSchedule::ReadConfiguration", shown(file));
    const auto stored = scriptedEngine().schedules.find(shown(scheduleName));
    if (outcome < 0 || stored == scriptedEngine().schedules.end())
        return -1;
    workingCopies()[this] = stored->second;
    return outcome;
}

int vSchedule::ReadSchedule(const char* name, const char* confFile)
{
    const int outcome = call("ReadSchedule", shown(name), shown(confFile));
    const auto stored = scriptedEngine().schedules.find(shown(name ? name : scheduleName));
    if (outcome < 0 || stored == scriptedEngine().schedules.end())
        return -1;
    workingCopies()[this] = stored->second;
    return outcome;
}

const char* vSchedule::GetScheduleName()
{
    call("GetScheduleName");
    return scheduleName;
}

int vSchedule::SetScheduleName(const char* name)
{
    const int outcome = call("SetScheduleName", shown(name));
    if (outcome >= 0) {
        std::free(scheduleName);
        scheduleName = name ? strdup(name) : nullptr;
    }
    return outcome;
}

int vSchedule::GetOption(unsigned int id, void* value)
{
    const int outcome = call("vSchedule::GetOption", std::to_string(id));
    return scripted::after(outcome, [&] {
        return transferOption(workingCopies()[this], id, {value, false});
    });
}

int vSchedule::SetOption(unsigned int id, void* value)
{
    const int outcome = call("vSchedule::SetOption", std::to_string(id));
    return scripted::after(outcome, [&] { return transferOption(workingCopies()[this], id, {value, true}); });
}

int vSchedule::GetObjectList(VardoObject** list)
{
    const int outcome = call("GetObjectList");
    *list = nullptr;
    if (outcome < 0)
        return outcome;
    for (const std::string& path : workingCopies()[this].objects) {
        if (*list)
            (*list)->AddLast(path.c_str(), Vardo::ScanObjFile);
        else
            *list = new VardoObject(path.c_str(), Vardo::ScanObjFile);
    }
    return outcome;
}

void vSchedule::ClearObjectList()
{
    call("ClearObjectList");
    workingCopies()[this].objects.clear();
}

int vSchedule::AddObject(const char* path)
{
    const int outcome = call("vSchedule::AddObject", shown(path));
    if (outcome >= 0)
        workingCopies()[this].objects.push_back(shown(path));
    return outcome;
}

int vSchedule::SaveSchedule(const char* cronFile, const char* user, const char* confFile, bool existing)
{
    const int outcome =
        call("SaveSchedule", shown(cronFile), shown(user), shown(confFile), existing ? "1" : "0");
    if (outcome < 0)
        return outcome;
    auto& schedules = scriptedEngine().schedules;
    if (!existing && schedules.contains(shown(scheduleName)))
        return SCHEDERR_EXISTS;
    schedules[shown(scheduleName)] = workingCopies()[this];
    return outcome;
}

bool vSchedule::IsScheduleOutdated(const char* name, const char* confFile)
{
    call("IsScheduleOutdated", shown(name), shown(confFile));
    const auto stored = scriptedEngine().schedules.find(shown(name));
    return stored != scriptedEngine().schedules.end() && stored->second.outdated;
}

int vSchedule::DeleteSchedule(const char* cronFile, const char* name, const char* confFile)
{
    const int outcome = call("DeleteSchedule", shown(cronFile), shown(name), shown(confFile));
    if (outcome >= 0)
        scriptedEngine().schedules.erase(shown(name));
    return outcome;
}

int vSchedule::DeleteOldSchedules(const char* cronFile, const char* confFile)
{
    const int outcome = call("DeleteOldSchedules", shown(cronFile), shown(confFile));
    if (outcome < 0)
        return outcome;
    return static_cast<int>(
        std::erase_if(scriptedEngine().schedules, [](const auto& entry) { return entry.second.outdated; }));
}
