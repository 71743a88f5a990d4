#include "base/paths.h"
#include "base/systemerror.h"
#include "engine/vardo.h"
#include "quarantine/quarantined.h"
#include "tools/escape.h"
#include "tools/vardoscan/exitcode.h"
#include "tools/vardoscan/log.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/report.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int)
{
    interrupted = 1;
}

/// What the callbacks of a scan need.
struct Scan
{
    Report report;
    bool listed; ///< what is quarantined is for the window's list
};

int onResult(const char* name, int type, int status, const char* virus, const char* remark,
             QS_ResultContextData* data)
{
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

ExitCode fail(const std::string& text)
{
    std::fprintf(stderr, "vardoscan: %s\n", escapeForTerminal(text).c_str());
    return SomethingWrong;
}

/// False, once told, when something that was printed has got lost. Nobody needs to hear that they read no
/// further.
bool outputIsWhole()
{
    errno = 0;
    const bool whole = std::fflush(stdout) == 0 && !std::ferror(stdout);
    if (!whole && errno != EPIPE)
        fail("cannot write the output" + (errno ? ": " + base::describeError(errno) : std::string()));
    return whole;
}

/// A user's own file, once the window has made it, holds the engine's settings too.
void chooseConfiguration(Options& options)
{
    const passwd* user = ::getuid() == 0 ? nullptr : ::getpwuid(::getuid());
    const std::string own = user && user->pw_dir ? std::string(user->pw_dir) + "/.vardo/vardo.conf" : "";
    const bool hasOwn = !own.empty() && ::access(own.c_str(), R_OK) == 0;
    if (options.avConf.empty())
        options.avConf = hasOwn ? own : paths::qsavConf;
    if (options.scanConf.empty())
        options.scanConf = hasOwn ? own : paths::vardoConf;
}

/// Reads the configuration and puts the command line's wishes over it.
bool configure(Vardo& engine, Options& options)
{
    if (engine.ReadConfiguration(nullptr) < 0 && options.scanConf != paths::vardoConf)
        return false;
    engine.SetOption(SCANOPT_ACTION, &options.action);
    unsigned int bits = 0;
    engine.GetOption(SCANOPT_SCANOPTS, &bits);
    if (options.extensions)
        bits &= ~static_cast<unsigned int>(SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS);
    bits = (bits | options.setBits) & ~options.unsetBits;
    engine.SetOption(SCANOPT_SCANOPTS, &bits);
    if (options.logLevel)
        engine.SetOption(SCANOPT_LOGLEVEL, &*options.logLevel);
    if (!options.logLocation.empty() && engine.SetOption(SCANOPT_LOGLOCATION, options.logLocation.data()) < 0)
        return false;
    if (options.maxSize)
        engine.SetOption(SCANOPT_MAXSIZE, &*options.maxSize);
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

ExitCode printVersion(Options& options)
{
    chooseConfiguration(options);
    std::printf("vardoscan %s\n", VARDO_VERSION);
    qsavInfo info = {};
    char date[32] = {};
    if (GetQSAVInfo(QS_GetSystemType(), options.avConf.c_str(), info) >= 0 &&
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", &info.udate) > 0)
        std::printf("%lu signatures, version %s of %s\n", info.noOfSignature, info.version, date);
    return NothingFound;
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
std::size_t addPaths(Vardo& engine, const std::vector<std::string>& paths)
{
    std::size_t missing = 0;
    for (const std::string& path : paths) {
        if (engine.AddObject(path.c_str()) >= 0)
            continue;
        ++missing;
        fail(engine.ScanError());
        logObject(path.c_str(), OBJTYPE_FILE, SCANSTAT_ERROR, nullptr, engine.ScanError());
    }
    return missing;
}

/// Scans with the engine that is ready, and tells how it went.
Ending scanWith(Vardo& engine, const Options& options)
{
    Scan watched{Report(options), usesListedQuarantine(engine)};
    const auto start = std::chrono::steady_clock::now();
    const int result = options.memory ? engine.DoMemoryScan(onResult, &watched, true)
                                      : engine.DoScan(onResult, &watched, nullptr);
    const auto duration =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    Ending ending;
    // What failed, or is not in the quarantine's list.
    ending.wrong = *engine.ScanError() || result != 0 || watched.report.hadErrors();
    ending.found = watched.report.foundSomething();
    if (*engine.ScanError())
        fail(engine.ScanError());
    if (!endLog(engine, options, result)) {
        fail("the scan log is not whole: " + std::string(engine.ScanError()));
        ending.unwritten = true;
    }
    if (result >= 0)
        watched.report.summary(*engine.GetStatistics(), duration, result != SCANRESULT_CANCELLED);
    return ending;
}

ExitCode scan(Options& options)
{
    chooseConfiguration(options);
    Vardo engine(options.scanConf.c_str());
    if (!configure(engine, options))
        return fail("cannot use " + options.scanConf);
    const bool unlogged = options.log && !startLog(engine, options);
    if (unlogged)
        fail("cannot write a scan log below " + logLocation(engine));
    const std::size_t missing = addPaths(engine, options.paths);
    if (missing > 0 && missing == options.paths.size()) {
        endLog(engine, options, -1);
        return SomethingWrong;
    }
    if (engine.VardoAVInit(options.avConf.c_str(), onResult, true) < 0) {
        fail(interrupted ? "interrupted" : engine.ScanError());
        endLog(engine, options, interrupted ? static_cast<int>(SCANRESULT_CANCELLED) : -1);
        return SomethingWrong;
    }
    Ending ending = scanWith(engine, options);
    ending.wrong = ending.wrong || missing > 0;
    ending.unwritten = ending.unwritten || unlogged;
    return exitCode(ending);
}

/// Does what is asked for, apart from looking at whether all of it could be printed.
ExitCode run(Options& options)
{
    switch (options.task) {
    case Options::Task::Help:
        std::fputs(usage(), stdout);
        return NothingFound;
    case Options::Task::Version:
        return printVersion(options);
    case Options::Task::Scan:
        break;
    }
    return scan(options);
}

} // namespace

int main(int argc, char** argv)
{
    // The first signal asks for an end and spoils no output; the second one ends us as usual.
    struct sigaction action = {};
    action.sa_handler = interrupt;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    // When nobody reads on, the log is to end as it should; each further line would send another one.
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);

    std::string error;
    std::optional<Options> options = parseOptions(argc, argv, error);
    if (!options) {
        fail(error);
        std::fprintf(stderr, "Try 'vardoscan --help'.\n");
        return SomethingWrong;
    }
    const ExitCode code = run(*options);
    return outputIsWhole() ? code : SomethingWrong;
}
