#include "jobs/change.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "base/systemerror.h"
#include "jobs/changingfile.h"
#include "jobs/crontab.h"
#include "jobs/directory.h"
#include "jobs/due.h"
#include "jobs/stamps.h"
#include "jobs/store.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <list>
#include <thread>

#include <sys/file.h>

namespace jobs {

namespace {

/// Keeps other processes from changing the store. It lies where only root may come: whoever can open a file
/// can hold its lock for ever.
base::UniqueFd lockStore()
{
    using namespace std::chrono_literals;
    const std::string path = std::string(paths::scheduleStamps) + "/.lock";
    ::mkdir(paths::scheduleStamps, 0700);
    const base::UniqueFd directory = openDirectoryOf(path);
    base::UniqueFd file;
    if (directory && isRootsAlone(directory.get()))
        file = base::openOrMakePlainFile(directory.get(), fileNameOf(path).c_str(), O_RDWR, 0600);
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end)
            return {};
        std::this_thread::sleep_for(1ms);
    }
    return file;
}

/// A file and what its failure means.
struct Step
{
    ChangingFile file;
    Outcome onFailure;
};

/// Changes the files in this order, all or none.
Outcome changeAll(std::list<Step>& steps)
{
    for (Step& step : steps)
        if (!step.file.prepare())
            return step.onFailure;
    for (auto step = steps.begin(); step != steps.end(); ++step) {
        if (step->file.change())
            continue;
        const Outcome outcome = step->onFailure;
        while (step != steps.begin())
            (--step)->file.changeBack();
        return outcome;
    }
    return Outcome::Done;
}

enum class Order { StoreFirst, CronFirst };

/// Puts `text` into the place of the store that was read, and makes the cron files anew.
Outcome apply(const Files& files, const Store& store, const std::string& text, Order order)
{
    const std::string before = cronText(store.jobs());
    const std::string after = cronText(Store(text).jobs());
    std::list<Step> steps;
    steps.push_back({{files.cronFile, before, after, false}, Outcome::NoCron});
    if (files.store == paths::scheduleStore)
        steps.push_back({{paths::cronFile, before, after, true}, Outcome::NoCron});
    steps.push_back({{files.store, store.text(), text, false}, Outcome::NotStored});
    if (order == Order::StoreFirst)
        steps.reverse();
    return changeAll(steps);
}

/// Says what is to become of the store's text.
using Edit = std::function<Outcome(const Store& store, std::string& text)>;

Outcome changeStore(const Files& files, Order order, const Edit& edit)
{
    if (::geteuid() != 0)
        return Outcome::NoCron;
    const base::UniqueFd lock = lockStore();
    const base::Result<Store> store = lock ? Store::read(files.store) : base::systemError(EWOULDBLOCK);
    if (!store)
        return Outcome::NotStored;
    std::string text;
    const Outcome outcome = edit(store.value(), text);
    return outcome == Outcome::Done ? apply(files, store.value(), text, order) : outcome;
}

} // namespace

Outcome saveJob(const Files& files, const Job& job, bool replace)
{
    // A process that is killed in between leaves a line for a job that is not there, rather than a job that
    // is never run.
    return changeStore(files, Order::CronFirst, [&](const Store& store, std::string& text) {
        const auto isTwin = [&](const Job& other) { return other.name == job.name; };
        if (!replace && std::any_of(store.jobs().begin(), store.jobs().end(), isTwin))
            return Outcome::Exists;
        const std::optional<std::string> changed = store.textWith(job);
        if (!changed)
            return Outcome::NotStored;
        text = *changed;
        noteSaved(idOf(job.name), std::time(nullptr)); // without the note, nothing counts as missed yet
        return Outcome::Done;
    });
}

Outcome deleteJob(const Files& files, const std::string& name)
{
    return changeStore(files, Order::StoreFirst, [&](const Store& store, std::string& text) {
        const Job* job = store.find(name);
        if (!job)
            return Outcome::NotThere;
        text = store.textWithout(job->name);
        return Outcome::Done;
    });
}

base::Result<int> deleteOutdated(const Files& files, std::time_t now)
{
    int removed = 0;
    const Outcome outcome = changeStore(files, Order::StoreFirst, [&](const Store& store, std::string& text) {
        Store left = store;
        for (const Job& job : store.jobs()) {
            if (!isOutdated(job, now))
                continue;
            left = Store(left.textWithout(job.name));
            ++removed;
        }
        text = left.text();
        return removed > 0 ? Outcome::Done : Outcome::NotThere;
    });
    if (outcome == Outcome::Done || outcome == Outcome::NotThere)
        return removed;
    return base::Error{0, "the schedules cannot be changed"};
}

Outcome remakeCronFile()
{
    if (::geteuid() != 0)
        return Outcome::NoCron;
    const base::UniqueFd lock = lockStore();
    const base::Result<Store> store =
        lock ? Store::read(paths::scheduleStore) : base::systemError(EWOULDBLOCK);
    if (!store)
        return Outcome::NotStored;
    ChangingFile file(paths::cronFile, {}, cronText(store.value().jobs()), true);
    if (file.isUpToDate() || (!file.exists() && store.value().jobs().empty()))
        return Outcome::Done;
    return file.prepare() && file.change() ? Outcome::Done : Outcome::NoCron;
}

} // namespace jobs
