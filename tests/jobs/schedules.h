#pragma once

#include "base/paths.h"
#include "engine/schedule.h"
#include "sfl/sfl.h"
#include "tests/support/sandbox.h"

#include <QRegularExpression>
#include <QString>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

/// The schedules as the window uses them, through the boundary, at their fixed places. In the sandbox.
namespace schedules {

namespace fs = std::filesystem;

inline const fs::path store = paths::scheduleStore;
inline const fs::path cronFile = paths::cronFile;
inline const fs::path ownCron = paths::scheduleCron;

inline std::unique_ptr<vSchedule> open(const std::string& name)
{
    return std::make_unique<vSchedule>(name.c_str(), store.c_str());
}

inline void set(vSchedule& job, unsigned id, int number)
{
    auto byte = static_cast<unsigned char>(number);
    auto whole = static_cast<unsigned>(number);
    const bool isByte = id >= SCHEDOPT_FREQUENCY;
    job.SetOption(id, isByte ? static_cast<void*>(&byte) : &whole);
}

inline int get(vSchedule& job, unsigned id)
{
    unsigned char byte = 0;
    unsigned whole = 0;
    const bool isByte = id >= SCHEDOPT_FREQUENCY;
    return job.GetOption(id, isByte ? static_cast<void*>(&byte) : &whole) < 0 ? -1
                                                                              : int(isByte ? byte : whole);
}

inline int save(vSchedule& job, bool existing = false)
{
    return job.SaveSchedule(ownCron.c_str(), "root", store.c_str(), existing);
}

/// Saves a daily job.
inline int saveDaily(const std::string& name, bool existing = false, int hour = 9,
                     const std::string& object = "/")
{
    const auto job = open(name);
    set(*job, SCHEDOPT_FREQUENCY, FREQ_DAILY);
    set(*job, SCHEDOPT_HOUR, hour);
    job->AddObject(object.c_str());
    return save(*job, existing);
}

inline std::vector<std::string> objectsOf(vSchedule& job)
{
    std::vector<std::string> objects;
    VardoObject* list = nullptr;
    job.GetObjectList(&list);
    for (const VardoObject* object = list; object; object = object->objNext)
        objects.emplace_back(object->objName);
    if (list)
        list->ClearList();
    return objects;
}

/// The names as the scheduler page finds them.
inline std::vector<std::string> names()
{
    std::vector<std::string> found;
    std::string previous;
    const sfl::SymTablePtr table(ini_dyn_load(nullptr, store.c_str()));
    for (const _SYMBOL* symbol = table->symbols; symbol; symbol = symbol->next) {
        const std::string_view name = symbol->name;
        const std::string section(name.substr(0, name.find(':')));
        if (section.size() == name.size() || section == previous)
            continue;
        const auto job = open(section);
        if (job->ReadConfiguration(nullptr) < 0)
            continue;
        found.emplace_back(job->GetScheduleName());
        previous = section;
    }
    return found;
}

inline int linesFor(const fs::path& file, const char* text)
{
    return int(QString::fromStdString(sandbox::readFile(file)).count(text));
}

/// A whole cron file that holds nothing but what cron may be told.
inline bool isWhole(const fs::path& file)
{
    static const QRegularExpression pattern(
        "^#[^\n]*\nSHELL=/bin/sh\nPATH=[a-z:/]+\nMAILTO=\"\"\n"
        "(?:[0-9]+(?: (?:[0-9]+|28-31|\\*)){4} root /opt/Quillstone/usr/bin/vardoscan "
        "--schedule=[0-9a-f]{16}\n)*"
        "(?:@reboot root /opt/Quillstone/usr/bin/vardoscan --missed\n)?$");
    return pattern.match(QString::fromStdString(sandbox::readFile(file))).hasMatch();
}

inline pid_t inChild(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(0);
    }
    return child;
}

/// An installation without schedules.
inline void makePlace()
{
    sandbox::makeInstallation();
    fs::remove_all(paths::scheduleStamps);
    // As the package makes them: a group may write there.
    fs::permissions("/opt/Quillstone/etc", fs::perms(02775));
    fs::permissions(store.parent_path(), fs::perms(02775));
    fs::permissions(cronFile.parent_path(), fs::perms(0755));
}

} // namespace schedules
