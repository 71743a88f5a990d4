#include "base/begin.h"
#include "base/paths.h"
#include "engine/update.h"
#include "updater/interruption.h"
#include "updater/report.h"
#include "updater/run.h"
#include "updater/settings.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace updater;

constexpr int wrongUsage = 2;

constexpr char usage[] = "Usage: updatenow [OPTION ...]\n"
                         "Updates the signatures of Vardo. Only root may.\n"
                         "\n"
                         "      --rollback            go back to the signatures before the last update\n"
                         "      --json                tell the outcome as lines of JSON\n"
                         "  -q, --quiet               tell failures only\n"
                         "      --config=FILE         settings of updates (updates.conf)\n"
                         "      --engine-config=FILE  where things are (qsav.conf)\n"
                         "  -h, --help                show this and end\n"
                         "  -V, --version             show the version and end\n"
                         "\n"
                         "Exit status: 0 updated or up to date, 1 another update is running, 2 failed.\n";

enum Id : int { Help = 'h', Version = 'V', Quiet = 'q', Rollback = 256, Json, Config, Engine, ForEngine };

constexpr option optionTable[] = {
    {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version},
    {"quiet", no_argument, nullptr, Quiet},
    {"rollback", no_argument, nullptr, Rollback},
    {"json", no_argument, nullptr, Json},
    {"config", required_argument, nullptr, Config},
    {"engine-config", required_argument, nullptr, Engine},
    {"for-engine", no_argument, nullptr, ForEngine}, // libvardo.so: speaks its protocol
    {},
};

struct Options
{
    std::string qsavConf = paths::qsavConf;
    std::string updatesConf = paths::updatesConf;
    Report::Form form = Report::Form::Text;
    bool quiet = false;
    bool rollBack = false;
    std::optional<int> exitCode; ///< there is nothing to do but to end
};

void take(int id, Options& options)
{
    switch (id) {
    case Help:
    case Version:
        std::fputs(id == Help ? usage : "updatenow " VARDO_VERSION "\n", stdout);
        options.exitCode = EXIT_SUCCESS;
        break;
    case Quiet:
        options.quiet = true;
        break;
    case Rollback:
        options.rollBack = true;
        break;
    case Json:
        options.form = Report::Form::Json;
        break;
    case Config:
        options.updatesConf = optarg;
        break;
    case Engine:
        options.qsavConf = optarg;
        break;
    case ForEngine:
        options.form = Report::Form::Engine;
        break;
    default:
        std::fputs("Try 'updatenow --help'.\n", stderr);
        options.exitCode = wrongUsage;
    }
}

Options parse(int argc, char** argv)
{
    Options options;
    for (int id = 0;
         !options.exitCode && (id = ::getopt_long(argc, argv, "hVq", optionTable, nullptr)) != -1;)
        take(id, options);
    if (!options.exitCode && optind != argc) {
        std::fprintf(stderr, "updatenow: too many arguments\nTry 'updatenow --help'.\n");
        options.exitCode = wrongUsage;
    }
    return options;
}

/// What the engine has in memory: a key and its value in each line, and an empty one behind them.
Wishes readWishes()
{
    Wishes wishes;
    std::string line;
    // A byte at a time: what follows the empty line is for whoever waits for a stop.
    for (char c = 0; ::read(STDIN_FILENO, &c, 1) == 1 && !(c == '\n' && line.empty());) {
        if (c != '\n') {
            line += c;
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos)
            wishes[line.substr(0, equals)] = line.substr(equals + 1);
        line.clear();
    }
    return wishes;
}

Outcome run(const Options& options, Interruption& interruption, Report& report)
{
    if (::geteuid() != 0)
        return {UPDATE_ERROR, "Only root may update the signatures."};
    const Wishes wishes = options.form == Report::Form::Engine ? readWishes() : Wishes();
    const auto settings = readSettings(options.qsavConf, options.updatesConf, wishes);
    if (!settings)
        return {UPDATE_ERROR, settings.error().text};
    Run update(settings.value(), interruption, report);
    return options.rollBack ? update.rollBack() : update.update();
}

} // namespace

int main(int argc, char** argv)
{
    base::beginProgram();
    // Nothing that the caller's environment says counts, neither here nor in what is started.
    ::clearenv();
    ::umask(022);
    std::signal(SIGPIPE, SIG_IGN);
    const Options options = parse(argc, argv);
    if (options.exitCode)
        return *options.exitCode;
    Interruption interruption(options.form == Report::Form::Engine ? STDIN_FILENO : -1);
    Report report(options.form, options.quiet);
    const Outcome outcome = run(options, interruption, report);
    return report.result(outcome.result, outcome.reason);
}
