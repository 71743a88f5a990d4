#include "engine/vardo.h"

#include "base/priority.h"
#include "cleanstore/store.h"
#include "libvardo/enginesettings.h"
#include "libvardo/enginestate.h"
#include "libvardo/ownservice.h"
#include "libvardo/scanrun.h"

#include <ctime>
#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using vardo::EngineState;

constexpr char excludeDirsDividers[] = ",;";

EngineState& stateOf(QS_AVPHandle handle)
{
    return *static_cast<EngineState*>(handle);
}

vardo::EngineSettings settingsOf(const ScanConfig& config, EngineState& state)
{
    vardo::EngineSettings settings = vardo::loadEngineSettings(
        state.avConf.empty() ? nullptr : state.avConf.c_str(), config.getConfigFile());
    if (state.workers > 0)
        settings.limits.workers = state.workers;
    vardo::leaveRootsService(settings.service);
    vardo::leaveRootsMemory(settings.remember.directory);
    settings.gentle = settings.gentle || state.gentle || base::ownPriority().readsWhenIdle();
    if (!settings.remembers || !state.remembers)
        settings.remember.directory.clear();
    vardo::makePlace(settings.service);
    state.refused = settings.refused;
    return settings;
}

template <class Value>
Value option(ScanConfig& config, unsigned int id)
{
    Value value = {};
    if (config.GetOption(id, &value) < 0)
        value = {};
    return value;
}

/// Options that are texts of at most `Size` bytes.
template <std::size_t Size>
std::string textOption(ScanConfig& config, unsigned int id)
{
    char text[Size] = {};
    return config.GetOption(id, text) < 0 ? std::string() : std::string(text);
}

vardo::SessionOptions sessionOptions(vardo::SessionOptions limits, unsigned int bits)
{
    limits.archives = !(bits & SCANFLAG_NO_ARCHIVES);
    limits.mails = !(bits & SCANFLAG_NO_MAILS);
    limits.packed = !(bits & SCANFLAG_NO_PACKED);
    limits.heuristics = !(bits & SCANFLAG_NO_HEURISTIC);
    return limits;
}

/// With both extension bits set the list says what is scanned.
vardo::ExtensionFilter extensionFilter(ScanConfig& config, unsigned int bits)
{
    using Sense = vardo::ExtensionFilter::Sense;
    if (!(bits & (SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS)))
        return {};
    return {bits & SCANFLAG_INCLUDE_EXTENSIONS ? Sense::Only : Sense::Without,
            textOption<sizeof(qs_lString)>(config, SCANOPT_EXTENSIONS)};
}

vardo::WalkOptions walkOptions(ScanConfig& config, unsigned int bits)
{
    vardo::WalkOptions walk;
    walk.recurse = !(bits & SCANFLAG_NO_RECURSE);
    walk.followLinks = bits & SCANFLAG_FOLLOW_SYMLINKS;
    walk.crossFileSystems = bits & SCANFLAG_CROSS_FS;
    walk.extensions = extensionFilter(config, bits);
    if (bits & SCANFLAG_MAX_DEPTH)
        walk.maxDepth = option<unsigned char>(config, SCANOPT_MAXDEPTH);
    if (bits & SCANFLAG_MAX_SIZE)
        walk.maxSize = option<unsigned long>(config, SCANOPT_MAXSIZE);
    if (bits & SCANFLAG_EXCLUDE_DIRS) {
        const char* directories = option<char*>(config, SCANOPT_EXCLUDEDIRS);
        for (std::string& path : vardo::splitList(directories ? directories : "", excludeDirsDividers))
            walk.directories.exclude(std::move(path));
    }
    return walk;
}

/// What SetActionData said goes before the option, and that before the configured directory.
vardo::ActionPlan actionPlan(ScanConfig& config, const EngineState& state,
                             const vardo::EngineSettings& settings)
{
    const std::string data = textOption<sizeof(qs_fString)>(config, SCANOPT_ACTDATA);
    vardo::ActionPlan plan;
    plan.action = option<unsigned int>(config, SCANOPT_ACTION);
    plan.disinfect = option<unsigned int>(config, SCANOPT_SCANOPTS) & SCANFLAG_DISINFECT;
    plan.quarantineDir = settings.quarantineDir;
    plan.mailFolders = settings.mailFolders;
    for (const std::string& directory : {data, state.quarantineDir}) {
        if (directory.starts_with('/'))
            plan.quarantineDir = directory;
    }
    for (const std::string& extension : {data, state.renameExtension}) {
        if (vardo::isFileExtension(extension))
            plan.extension = extension;
    }
    return plan;
}

/// `leftOut` gets the signatures that the service could not load.
vardo::SessionFactory sessionFactory(const vardo::ServicePaths& paths, std::string& leftOut)
{
    return [paths, &leftOut](const vardo::SessionOptions& options, vardo::ScanSession::Handlers handlers,
                             const std::function<bool()>& goesOn) {
        handlers.opened = [&leftOut, note = std::move(handlers.opened)](const vardo::ServiceInfo& info) {
            leftOut = info.remark;
            note(info);
        };
        return vardo::ScanSession::open(paths, options, std::move(handlers), goesOn);
    };
}

base::Result<vardo::ScanEnd> scanned(EngineState& state, const vardo::EngineSettings& settings,
                                     const vardo::SessionOptions& options, const vardo::SourceFactory& source,
                                     vardo::ScanReporter& reporter)
{
    const auto end = vardo::runScan(sessionFactory(settings.service, state.leftOut), options, source,
                                    reporter, settings.remember);
    state.remembered += reporter.remembered();
    return end;
}

/// Runs `scan`, notes its failure and gives the result of the boundary: no exception crosses that.
template <class Scan>
int bounded(EngineState& state, QS_IntefaceScanResult& result, const Scan& scan)
{
    const auto now = [] { return static_cast<unsigned int>(std::time(nullptr)); };
    state.error.clear();
    result.scanStartTime = now();
    result.scanEndTime = 0;
    base::Result<vardo::ScanEnd> end = base::Error{};
    try {
        end = state.loaded ? scan() : base::Error{0, "the scan engine is not initialized"};
    } catch (const std::exception& problem) {
        end = base::Error{0, problem.what()};
    }
    result.scanEndTime = now();
    if (!state.leftOut.empty())
        LogMe(LOGLEVEL_MINIMUM, "SIGNATURES: %s\n", state.leftOut.c_str());
    for (const std::string& setting : state.refused)
        LogMe(LOGLEVEL_MINIMUM, "SETTINGS: %s\n", setting.c_str());
    if (!end) {
        state.error = end.error().text;
        return -1;
    }
    if (const unsigned missing = end.value().recordFailures)
        state.error = std::to_string(missing) + (missing == 1 ? " quarantined file" : " quarantined files") +
                      " could not be noted in the quarantine list";
    return end.value().cancelled ? static_cast<int>(SCANRESULT_CANCELLED) : 0;
}

} // namespace

bool Vardo::VardoIsAVLoaded()
{
    return stateOf(handle).loaded;
}

int Vardo::VardoAVInit(const char* avConf, QS_ResultCallBack cb, bool wait)
{
    EngineState& state = stateOf(handle);
    state.error.clear();
    state.avConf = avConf ? avConf : "";
    std::function<bool()> beat;
    if (cb)
        beat = [cb] { return cb("", OBJTYPE_FILE, 0, nullptr, nullptr, nullptr) != CALLBACK_STOP; };
    const vardo::EngineSettings settings = settingsOf(*this, state);
    for (const std::string& setting : settings.refused) {
        if (cb)
            cb("", OBJTYPE_FILE, 0, nullptr, setting.c_str(), nullptr);
    }
    const auto started = vardo::startService(settings.service, wait, beat);
    state.loaded = static_cast<bool>(started);
    state.leftOut = started ? started.value().remark : "";
    state.error = started ? state.leftOut : started.error().text;
    return started ? 0 : -1;
}

void Vardo::VardoAVDeinit(QS_ResultCallBack)
{
    stateOf(handle).loaded = false;
}

int Vardo::DoScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, QS_actionPromptCallBack prompt)
{
    EngineState& state = stateOf(handle);
    return bounded(state, *result, [&] {
        const vardo::EngineSettings settings = settingsOf(*this, state);
        const vardo::ActionPlan plan = actionPlan(*this, state, settings);
        vardo::WalkOptions walk = walkOptions(*this, scanOpts);
        walk.sparesMemory = settings.gentle;
        walk.closed.add(settings.quarantineDir);
        walk.closed.add(plan.quarantineDir);
        std::vector<std::string> objects;
        for (const VardoObject* object = scanObjects; object; object = object->objNext)
            objects.emplace_back(object->objName);
        vardo::ScanReporter reporter({cb, ctx, prompt}, plan, result->scanStatistics);
        return scanned(state, settings, sessionOptions(settings.limits, scanOpts),
                       vardo::fileSource(std::move(objects), std::move(walk)), reporter);
    });
}

int Vardo::DoScan(const char* object, QS_ResultCallBack cb, QS_ResultContextData* ctx,
                  QS_actionPromptCallBack prompt)
{
    ClearObjects();
    return AddObject(object) < 0 ? -1 : DoScan(cb, ctx, prompt);
}

int Vardo::DoMemoryScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, bool all)
{
    EngineState& state = stateOf(handle);
    return bounded(state, *result, [&] {
        const vardo::EngineSettings settings = settingsOf(*this, state);
        vardo::ScanReporter reporter({cb, ctx, nullptr}, {}, result->scanStatistics);
        return scanned(state, settings, sessionOptions(settings.limits, scanOpts), vardo::processSource(all),
                       reporter);
    });
}

/// There is one memory: `object` makes no difference.
int Vardo::DoMemoryScan(const char*, QS_ResultCallBack cb, QS_ResultContextData* ctx, bool all)
{
    return DoMemoryScan(cb, ctx, all);
}

void Vardo::RememberFiles(bool on)
{
    stateOf(handle).remembers = on;
}

unsigned int Vardo::RememberedObjects()
{
    return stateOf(handle).remembered;
}

int Vardo::ForgetFiles(const char* avConf)
{
    EngineState& state = stateOf(handle);
    std::string directory = vardo::loadEngineSettings(avConf, nullptr).remember.directory;
    vardo::leaveRootsMemory(directory);
    state.error = cleanstore::Store::remove(directory) ? "" : "cannot empty " + directory;
    return state.error.empty() ? 0 : -1;
}

void Vardo::BeGentle(bool on)
{
    stateOf(handle).gentle = on;
}
