#include "tools/vardoscan/options.h"

#include "tools/vardoscan/optionvalues.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include <getopt.h>

namespace {

enum Id : int {
    Help = 'h',
    Version = 'V',
    Quiet = 'q',
    Memory = 'm',
    Null = '0',
    First = 256,
    Config,
    Engine,
    Action,
    QuarantineDir,
    RenameExtension,
    Include,
    Exclude,
    ExcludeDir,
    MaxSize,
    MaxDepth,
    Log,
    LogLevel,
    Json,
    All,
    NoProgress,
    Notify,
    FilesFrom,
    Home,
    Jobs,
    Schedule,
    Missed,
    ListSchedules,
    RemakeCron,
    NoCache,
    Forget,
    Gentle,
    Switch, // the first of the table below
};

constexpr std::size_t longestExtension = 64; // that the engine takes

/// An option that only sets or clears bits.
struct BitSwitch
{
    const char* name;
    unsigned int set;
    unsigned int unset;
};

constexpr std::array bitSwitches{
    BitSwitch{"archives", 0, SCANFLAG_NO_ARCHIVES},
    BitSwitch{"no-archives", SCANFLAG_NO_ARCHIVES, 0},
    BitSwitch{"mails", 0, SCANFLAG_NO_MAILS},
    BitSwitch{"no-mails", SCANFLAG_NO_MAILS, 0},
    BitSwitch{"packed", 0, SCANFLAG_NO_PACKED},
    BitSwitch{"no-packed", SCANFLAG_NO_PACKED, 0},
    BitSwitch{"heuristics", 0, SCANFLAG_NO_HEURISTIC},
    BitSwitch{"no-heuristics", SCANFLAG_NO_HEURISTIC, 0},
    BitSwitch{"recursive", 0, SCANFLAG_NO_RECURSE},
    BitSwitch{"no-recursive", SCANFLAG_NO_RECURSE, 0},
    BitSwitch{"cross-fs", SCANFLAG_CROSS_FS, 0},
    BitSwitch{"no-cross-fs", 0, SCANFLAG_CROSS_FS},
    BitSwitch{"follow-links", SCANFLAG_FOLLOW_SYMLINKS, 0},
    BitSwitch{"no-follow-links", 0, SCANFLAG_FOLLOW_SYMLINKS},
};

constexpr std::array<option, 31> plainOptions{{
    {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version},
    {"quiet", no_argument, nullptr, Quiet},
    {"memory", no_argument, nullptr, Memory},
    {"config", required_argument, nullptr, Config},
    {"engine-config", required_argument, nullptr, Engine},
    {"action", required_argument, nullptr, Action},
    {"quarantine-dir", required_argument, nullptr, QuarantineDir},
    {"rename-extension", required_argument, nullptr, RenameExtension},
    {"include", required_argument, nullptr, Include},
    {"exclude", required_argument, nullptr, Exclude},
    {"exclude-dir", required_argument, nullptr, ExcludeDir},
    {"max-size", required_argument, nullptr, MaxSize},
    {"max-depth", required_argument, nullptr, MaxDepth},
    {"log", optional_argument, nullptr, Log},
    {"log-level", required_argument, nullptr, LogLevel},
    {"json", no_argument, nullptr, Json},
    {"all", no_argument, nullptr, All},
    {"no-progress", no_argument, nullptr, NoProgress},
    {"notify", optional_argument, nullptr, Notify},
    {"files-from", required_argument, nullptr, FilesFrom},
    {"null", no_argument, nullptr, Null},
    {"home", no_argument, nullptr, Home},
    {"jobs", required_argument, nullptr, Jobs},
    {"schedule", required_argument, nullptr, Schedule},
    {"missed", no_argument, nullptr, Missed},
    {"list-schedules", no_argument, nullptr, ListSchedules},
    {"remake-cron", no_argument, nullptr, RemakeCron},
    {"no-cache", no_argument, nullptr, NoCache},
    {"forget", no_argument, nullptr, Forget},
    {"gentle", no_argument, nullptr, Gentle},
}};

std::vector<option> optionTable()
{
    std::vector<option> table(plainOptions.begin(), plainOptions.end());
    int id = Switch;
    for (const BitSwitch& bits : bitSwitches)
        table.push_back({bits.name, no_argument, nullptr, id++});
    table.push_back({});
    return table;
}

/// Options with an argument; false when the argument is no good.
bool takeArgument(int id, const char* argument, Options& options)
{
    switch (id) {
    case Config:
        options.scanConf = argument;
        return true;
    case Engine:
        options.avConf = argument;
        return true;
    case Action:
        return takeAction(argument, options);
    case QuarantineDir:
        options.quarantineDir = argument;
        return argument[0] == '/';
    case RenameExtension:
        options.extension = argument;
        return *argument && options.extension.size() <= longestExtension && !std::strchr(argument, '/');
    case Log:
        options.log = true;
        options.logLocation = argument;
        return argument[0] == '/';
    case LogLevel:
        return takeLogLevel(argument, options);
    case Notify:
        return takeNotify(argument, options);
    case FilesFrom:
        options.filesFrom = argument;
        return *argument;
    case Jobs:
        return takeJobs(argument, options);
    case Include:
    case Exclude:
        addList(options.extensions, argument);
        options.setBits |= id == Include ? SCANFLAG_INCLUDE_EXTENSIONS : SCANFLAG_EXCLUDE_EXTENSIONS;
        return true;
    case Schedule:
        options.task = Options::Task::Schedule;
        options.scheduleId = argument;
        return *argument;
    case ExcludeDir:
        return takeExcludedDirectory(argument, options);
    case MaxDepth:
        return takeMaxDepth(argument, options);
    default:
        return takeMaxSize(argument, options);
    }
}

/// What the argument of an option should have been.
const char* expectation(int id)
{
    switch (id) {
    case Action:
        return "log, delete, rename or quarantine";
    case QuarantineDir:
    case Log:
        return "an absolute path";
    case RenameExtension:
        return "1 to 64 characters without a slash";
    case LogLevel:
        return "minimum, infected or all";
    case Notify:
        return "problems or all";
    case FilesFrom:
        return "the name of a file, or -";
    case Jobs:
        return "a number from 1 to 64";
    case Schedule:
        return "the id of a scheduled scan";
    case ExcludeDir:
        return "an absolute path without commas and semicolons";
    case MaxSize:
        return "a number of bytes, or with K, M or G behind it, below 2^64 bytes";
    default:
        return "a number from 0 to 255";
    }
}

/// Switches that ask for something else than a scan of what the command line names.
std::optional<Options::Task> taskOf(int id)
{
    switch (id) {
    case Help:
        return Options::Task::Help;
    case Version:
        return Options::Task::Version;
    case Missed:
        return Options::Task::Missed;
    case ListSchedules:
        return Options::Task::ListSchedules;
    case RemakeCron:
        return Options::Task::RemakeCron;
    case Forget:
        return Options::Task::Forget;
    default:
        return std::nullopt;
    }
}

/// Options without an argument.
void takeSwitch(int id, Options& options)
{
    if (const auto task = taskOf(id)) {
        options.task = *task;
        return;
    }
    switch (id) {
    case Quiet:
        options.quiet = true;
        break;
    case Memory:
        options.memory = true;
        break;
    case Log:
        options.log = true;
        break;
    case Json:
        options.json = true;
        break;
    case All:
        options.all = true;
        break;
    case NoProgress:
        options.progress = false;
        break;
    case Notify:
        options.notify = Options::Notify::Problems;
        break;
    case Null:
        options.divider = '\0';
        break;
    case Home:
        options.home = true;
        break;
    case NoCache:
        options.remembers = false;
        break;
    case Gentle:
        options.gentle = true;
        break;
    default: {
        const BitSwitch& bits = bitSwitches.at(static_cast<std::size_t>(id - Switch));
        options.setBits = (options.setBits | bits.set) & ~bits.unset;
        options.unsetBits = (options.unsetBits | bits.unset) & ~bits.set;
    }
    }
}

bool namesObjects(const Options& options)
{
    return !options.paths.empty() || !options.filesFrom.empty() || options.home;
}

bool consistent(const Options& options, std::string& error)
{
    constexpr unsigned int both = SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS;
    if ((options.setBits & both) == both)
        error = "--include and --exclude cannot be used together";
    else if (options.task == Options::Task::Scan && namesObjects(options) == options.memory)
        error = options.memory ? "--memory takes no paths" : "nothing to scan: name a file or directory";
    else if (std::ranges::count(options.paths, std::string()) > 0)
        error = "nothing has an empty name";
    else if (options.task > Options::Task::Version && (options.memory || namesObjects(options)))
        error = options.task == Options::Task::Forget ? "--forget takes no paths"
                                                      : "schedules say themselves what is scanned";
    return error.empty();
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv, std::string& error)
{
    const std::vector<option> table = optionTable();
    Options options;
    opterr = 0;
    optind = 1;
    for (;;) {
        int index = -1;
        const int id = ::getopt_long(argc, argv, ":hVqm0", table.data(), &index);
        if (id == -1)
            break;
        if (id == '?' || id == ':') {
            error = std::string(id == ':' ? "missing argument: " : "unknown option: ") + argv[optind - 1];
            return std::nullopt;
        }
        if (!optarg) {
            takeSwitch(id, options);
        } else if (!takeArgument(id, optarg, options)) {
            error = std::string("bad argument of --") + table[static_cast<std::size_t>(index)].name + ": " +
                    optarg + " (should be " + expectation(id) + ")";
            return std::nullopt;
        }
    }
    options.paths.assign(argv + optind, argv + argc);
    if (!consistent(options, error))
        return std::nullopt;
    return options;
}
