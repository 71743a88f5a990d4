#include "tests/support/scriptedengine.h"

#include <cstdlib>
#include <cstring>
#include <variant>

using scripted::Schedule;

namespace {

using Field = std::variant<unsigned char Schedule::*, unsigned int Schedule::*>;
const std::map<unsigned int, Field> fields = {
    {SCHEDOPT_ACTION, &Schedule::action},       {SCHEDOPT_SCANFLAGS, &Schedule::scanFlags},
    {SCHEDOPT_FREQUENCY, &Schedule::frequency}, {SCHEDOPT_MONTH, &Schedule::month},
    {SCHEDOPT_MONTHDAY, &Schedule::monthDay},   {SCHEDOPT_WEEKDAY, &Schedule::weekDay},
    {SCHEDOPT_HOUR, &Schedule::hour},           {SCHEDOPT_MINUTE, &Schedule::minute},
};

/// What the living objects hold. They are used on one thread only.
std::map<const vSchedule*, Schedule> held;

template <class... Texts>
int call(std::string name, const Texts*... texts)
{
    ((name += ' ', name += texts ? texts : "(null)"), ...);
    return scriptedEngine().call("vSchedule" + name);
}

/// Lets `schedule` hold the job `name` of the store, unless the call failed.
int load(const vSchedule& schedule, const char* name, int outcome)
{
    const auto stored = scriptedEngine().schedules.find(name ? name : "");
    if (outcome < 0 || stored == scriptedEngine().schedules.end())
        return -1;
    held[&schedule] = stored->second;
    return outcome;
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
    call("", name, confFile);
    held[this] = {};
}

vSchedule::~vSchedule()
{
    call("::~vSchedule");
    held.erase(this);
    std::free(scheduleName);
}

int vSchedule::ReadConfiguration(const char* file)
{
    return load(*this, scheduleName, call("::ReadConfiguration", file));
}

int vSchedule::ReadSchedule(const char* name, const char* confFile)
{
    return load(*this, name ? name : scheduleName, call("::ReadSchedule", name, confFile));
}

const char* vSchedule::GetScheduleName()
{
    return call("::GetScheduleName") < 0 ? nullptr : scheduleName;
}

int vSchedule::SetScheduleName(const char* name)
{
    const int outcome = call("::SetScheduleName", name);
    std::free(scheduleName);
    scheduleName = strdup(name);
    return outcome;
}

int vSchedule::GetOption(unsigned int id, void* value)
{
    const int outcome = call("::GetOption", std::to_string(id).c_str());
    if (outcome >= 0)
        std::visit([&](auto field) { std::memcpy(value, &(held[this].*field), sizeof(held[this].*field)); },
                   fields.at(id));
    return outcome;
}

int vSchedule::SetOption(unsigned int id, void* value)
{
    unsigned int number = 0;
    std::visit(
        [&](auto field) {
            std::memcpy(&(held[this].*field), value, sizeof(held[this].*field));
            number = held[this].*field;
        },
        fields.at(id));
    return call("::SetOption", (std::to_string(id) + '=' + std::to_string(number)).c_str());
}

int vSchedule::GetObjectList(VardoObject** list)
{
    const int outcome = call("::GetObjectList");
    *list = nullptr;
    for (const std::string& path : held[this].objects) {
        if (*list)
            (*list)->AddLast(path.c_str(), Vardo::ScanObjFile);
        else
            *list = new VardoObject(path.c_str(), Vardo::ScanObjFile);
    }
    return outcome;
}

void vSchedule::ClearObjectList()
{
    call("::ClearObjectList");
    held[this].objects.clear();
}

int vSchedule::AddObject(const char* path)
{
    held[this].objects.push_back(path);
    return call("::AddObject", path);
}

int vSchedule::SaveSchedule(const char* cronFile, const char* user, const char* confFile, bool existing)
{
    const int outcome = call("::SaveSchedule", cronFile, user, confFile, existing ? "1" : "0");
    auto& schedules = scriptedEngine().schedules;
    if (outcome < 0)
        return outcome;
    if (!existing && schedules.contains(scheduleName))
        return SCHEDERR_EXISTS;
    schedules[scheduleName] = held[this];
    return outcome;
}

bool vSchedule::IsScheduleOutdated(const char* name, const char* confFile)
{
    call("::IsScheduleOutdated", name, confFile);
    const auto stored = scriptedEngine().schedules.find(name);
    return stored != scriptedEngine().schedules.end() && stored->second.outdated;
}

int vSchedule::DeleteSchedule(const char* cronFile, const char* name, const char* confFile)
{
    const int outcome = call("::DeleteSchedule", cronFile, name, confFile);
    if (outcome >= 0)
        scriptedEngine().schedules.erase(name);
    return outcome;
}

int vSchedule::DeleteOldSchedules(const char* cronFile, const char* confFile)
{
    const int outcome = call("::DeleteOldSchedules", cronFile, confFile);
    if (outcome < 0)
        return outcome;
    return static_cast<int>(
        std::erase_if(scriptedEngine().schedules, [](const auto& entry) { return entry.second.outdated; }));
}
