#include "tools/vardoscan/scan.h"

#include "base/paths.h"
#include "base/systemerror.h"
#include "engine/vardo.h"
#include "installation/membership.h"
#include "quarantine/quarantined.h"
#include "tools/escape.h"
#include "tools/vardoscan/log.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/report.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <utility>

#include <pwd.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t interrupted = 0;

/// What the callbacks of a scan need.
struct Scan
{
    Report report;
    bool listed; ///< what is quarantined is for the window's list
};

int onResult(const char* name, int type, int status, const char* virus, const char* remark,
             QS_ResultContextData* data)
{
    if (!*name && remark) // about the settings
        fail(remark);
    auto* scan = static_cast<Scan*>(data);
    const bool moved = scan && scan->listed && virus && (status & SCANSTAT_QUARANTINED);
    const bool recorded = !moved || quarantine::recordQuarantined(name, virus);
    if (scan)
        scan->report.object(name, type, status, virus, remark);
    logObject(name, type, status, virus, remark);
    if (interrupted)
        return CALLBACK_STOP;
    return recorded ? CALLBACK_CONTINUE : CALLBACK_RECORD_FAILED;
}

/// Reads the configuration and puts the command line's wishes over it.
bool configure(Vardo& engine, Options& options)
{
    if (engine.ReadConfiguration(nullptr) < 0 && options.scanConf != paths::vardoConf)
        return false;
    engine.SetOption(SCANOPT_ACTION, &options.action);
    engine.RememberFiles(options.remembers);
    if (options.gentle)
        engine.BeGentle(true);
    unsigned int bits = 0;
    engine.GetOption(SCANOPT_SCANOPTS, &bits);
    constexpr unsigned int byExtension = SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS;
    if (options.leavesRenamed && !(bits & byExtension)) {
        options.extensions = options.extension;
        options.setBits |= SCANFLAG_EXCLUDE_EXTENSIONS;
    }
    if (options.extensions)
        bits &= ~byExtension;
    bits = (bits | options.setBits) & ~options.unsetBits;
    engine.SetOption(SCANOPT_SCANOPTS, &bits);
    if (options.logLevel)
        engine.SetOption(SCANOPT_LOGLEVEL, &*options.logLevel);
    if (!options.logLocation.empty() && engine.SetOption(SCANOPT_LOGLOCATION, options.logLocation.data()) < 0)
        return false;
    if (options.maxSize)
        engine.SetOption(SCANOPT_MAXSIZE, &*options.maxSize);
    if (options.jobs)
        engine.SetWorkers(*options.jobs);
    if (options.maxDepth)
        engine.SetOption(SCANOPT_MAXDEPTH, &*options.maxDepth);
    if (options.extensions && engine.SetOption(SCANOPT_EXTENSIONS, options.extensions->data()) < 0)
        return false;
    char* directories = options.excludeDirs.data();
    if (!options.excludeDirs.empty() && engine.SetOption(SCANOPT_EXCLUDEDIRS, &directories) < 0)
        return false;
    engine.SetActionData(options.quarantineDir.empty() ? nullptr : options.quarantineDir.c_str(),
                         options.extension.c_str(), false);
    // The log tells this by an option.
    std::string& data = options.action == SCANACT_RENAME ? options.extension : options.quarantineDir;
    if (!data.empty() && engine.SetOption(SCANOPT_ACTDATA, data.data()) < 0)
        return false;
    return true;
}

/// True when infected files go into the quarantine directory that the window lists. A path in the options
/// goes before the engine's own directory.
bool usesListedQuarantine(Vardo& engine)
{
    qs_fString data = {};
    engine.GetOption(SCANOPT_ACTDATA, data);
    std::error_code unknown;
    return data[0] != '/' || std::filesystem::equivalent(data, paths::quarantine, unknown);
}

/// Adds what is to be scanned; the number of paths that are not there.
unsigned addPaths(Vardo& engine, const std::vector<std::string>& paths)
{
    unsigned missing = 0;
    for (const std::string& path : paths) {
        if (engine.AddObject(path.c_str()) >= 0)
            continue;
        ++missing;
        fail(engine.ScanError());
        logObject(path.c_str(), OBJTYPE_FILE, SCANSTAT_ERROR, nullptr, engine.ScanError());
    }
    return missing;
}

/// What somebody who is no member should know, with a text ahead of it; empty for members.
std::string hintBehind(const char* text)
{
    const std::string hint = membershipHint();
    return hint.empty() ? hint : text + hint;
}

ScanResult failed(ScanResult result, const std::string& error)
{
    result.exitCode = fail(error);
    result.error = error;
    return result;
}

/// The scan itself, by an engine that is ready.
void perform(Vardo& engine, const Options& options, ScanResult& result)
{
    ScanEnding ending;
    ending.leftOut = engine.ScanError();
    if (!ending.leftOut.empty())
        fail(ending.leftOut);
    Scan watched{Report(options), usesListedQuarantine(engine)};
    const auto start = std::chrono::steady_clock::now();
    const int code = options.memory ? engine.DoMemoryScan(onResult, &watched, true)
                                    : engine.DoScan(onResult, &watched, nullptr);
    ending.duration =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    ending.complete = code == 0;
    ending.remembered = engine.RememberedObjects();
    ending.error = code < 0 ? engine.ScanError() : "";
    const std::string unlisted = code < 0 ? "" : engine.ScanError(); // in the quarantine
    if (!endLog(engine, options, code)) {
        fail("the scan log is not whole: " + std::string(engine.ScanError()));
        result.unlogged = true;
    }
    result.statistics = *engine.GetStatistics();
    result.found = watched.report.found();
    result.error = ending.complete ? ending.leftOut : ending.error;
    if (code >= 0)
        result.end = ending.complete ? ScanResult::End::Complete : ScanResult::End::Stopped;
    watched.report.summary(result.statistics, ending);
    const bool denied = options.action == SCANACT_QUARANTINE && result.statistics.scActionError > 0;
    const std::string hint = denied ? hintBehind("quarantine: ") : "";
    for (const std::string& problem : {ending.error, unlisted, hint}) {
        if (!problem.empty())
            fail(problem);
    }
    const bool wrong = result.missing > 0 || watched.report.hadErrors() || !ending.complete ||
                       !ending.leftOut.empty() || !unlisted.empty();
    result.exitCode = exitCode({watched.report.foundSomething(), wrong, result.unlogged});
}

} // namespace

void interrupt(int)
{
    interrupted = 1;
}

bool wasInterrupted()
{
    return interrupted;
}

int fail(const std::string& text)
{
    std::fprintf(stderr, "vardoscan: %s\n", escapeForTerminal(text).c_str());
    return SomethingWrong;
}

bool outputIsWhole()
{
    errno = 0;
    const bool whole = std::fflush(stdout) == 0 && !std::ferror(stdout);
    // Nobody needs to hear that they read no further.
    if (!whole && errno != EPIPE)
        fail("cannot write the output" + (errno ? ": " + base::describeError(errno) : std::string()));
    return whole;
}

void chooseConfiguration(Options& options)
{
    // Once the window has made it, a user's own file holds the engine's settings too.
    const passwd* user = ::getuid() == 0 ? nullptr : ::getpwuid(::getuid());
    const std::string own = user && user->pw_dir ? std::string(user->pw_dir) + "/.vardo/vardo.conf" : "";
    const bool hasOwn = !own.empty() && ::access(own.c_str(), R_OK) == 0;
    if (options.avConf.empty())
        options.avConf = hasOwn ? own : paths::qsavConf;
    if (options.scanConf.empty())
        options.scanConf = hasOwn ? own : paths::vardoConf;
}

ScanResult scan(Options& options)
{
    chooseConfiguration(options);
    Vardo engine(options.scanConf.c_str());
    ScanResult result;
    if (!configure(engine, options))
        return failed(std::move(result), "cannot use " + options.scanConf);
    result.unlogged = options.log && !startLog(engine, options);
    if (result.unlogged)
        fail("cannot write a scan log below " + logLocation(engine) +
             (logLocation(engine) == paths::logs ? hintBehind(": ") : ""));
    if (options.log && !result.unlogged) {
        result.logLocation = logLocation(engine);
        result.logFile = openLogFile();
    }
    result.missing = addPaths(engine, options.paths);
    if (result.missing > 0 && result.missing == options.paths.size()) {
        endLog(engine, options, -1);
        result.error = engine.ScanError();
        return result;
    }
    if (engine.VardoAVInit(options.avConf.c_str(), onResult, true) < 0) {
        endLog(engine, options, interrupted ? static_cast<int>(SCANRESULT_CANCELLED) : -1);
        result.end = interrupted ? ScanResult::End::Stopped : ScanResult::End::Failed;
        return failed(std::move(result), interrupted ? "interrupted" : engine.ScanError());
    }
    perform(engine, options, result);
    return result;
}
