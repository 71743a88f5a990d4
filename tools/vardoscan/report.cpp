#include "tools/vardoscan/report.h"

#include "loglayout/scanlog.h"
#include "tools/escape.h"
#include "tools/vardoscan/options.h"

#include <array>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::chrono::milliseconds progressInterval{100};
constexpr std::size_t mostNamed = 3;
constexpr int foundBits = SCANSTAT_INFECTED | SCANSTAT_SUSPECTED | SCANSTAT_DISINFECTED | SCANSTAT_DELETED |
                          SCANSTAT_QUARANTINED | SCANSTAT_RENAMED | SCANSTAT_CURE_FAILED |
                          SCANSTAT_DELETE_FAILED | SCANSTAT_QUARANTINE_FAILED | SCANSTAT_RENAME_FAILED;

struct Counter
{
    const char* text;
    const char* key;
    unsigned int QS_InterfaceScanStatistics::*value;
    bool always; ///< in text also when it is 0
};

constexpr std::array counters{
    Counter{"Scanned directories", "directories", &QS_InterfaceScanStatistics::scDirectories, true},
    Counter{"Scanned objects", "objects", &QS_InterfaceScanStatistics::scFiles, true},
    Counter{"Clean objects", "clean", &QS_InterfaceScanStatistics::scClean, false},
    Counter{"Infected objects", "infected", &QS_InterfaceScanStatistics::scInfected, true},
    Counter{"Suspicious objects", "suspicious", &QS_InterfaceScanStatistics::scSuspicious, false},
    Counter{"Deleted objects", "deleted", &QS_InterfaceScanStatistics::scDeleted, false},
    Counter{"Renamed objects", "renamed", &QS_InterfaceScanStatistics::scRenamed, false},
    Counter{"Quarantined objects", "quarantined", &QS_InterfaceScanStatistics::scQuarantined, false},
    Counter{"Failed actions", "failed_actions", &QS_InterfaceScanStatistics::scActionError, false},
    Counter{"Corrupt objects", "corrupt", &QS_InterfaceScanStatistics::scCorrupt, false},
    Counter{"Encrypted objects", "encrypted", &QS_InterfaceScanStatistics::scEncrypted, false},
    Counter{"Objects not scanned", "not_scanned", &QS_InterfaceScanStatistics::scScanError, false},
};

/// What is null is left out.
void printMember(const char* key, const char* value)
{
    if (value)
        std::printf("%s", jsonMember(key, value).c_str());
}

std::size_t terminalWidth()
{
    winsize size = {};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20 ? size.ws_col : 80;
}

} // namespace

Report::Report(const Options& options)
    : options_(options)
    , progress_(options.progress && !options.quiet && ::isatty(STDERR_FILENO))
{
}

Report::~Report()
{
    hideProgress();
}

void Report::object(const char* name, int type, int status, const char* virus, const char* remark)
{
    if (type == OBJTYPE_FILE && status == 0 && *name && remark)
        return notEntered(name, remark);
    if (type == OBJTYPE_DIRECTORY || !scanlog::hasStatus(status))
        return showProgress(name);
    ++objects_;
    if (status & foundBits)
        noteFound(name, virus);
    errors_ = errors_ || (status & SCANSTAT_ERROR);
    if (!options_.quiet && (options_.all || !(status & SCANSTAT_CLEAN))) {
        hideProgress();
        options_.json ? objectJson(name, type, status, virus, remark)
                      : objectText(name, type, status, virus, remark);
        std::fflush(stdout);
    }
    showProgress(name);
}

/// The text output has it at the end, where it cannot be overlooked.
void Report::notEntered(const char* name, const char* remark)
{
    if (!options_.json) {
        notEntered_.emplace_back(name);
    } else if (!options_.quiet) {
        hideProgress();
        std::printf("{\"type\":\"not_entered\"");
        printMember("name", name);
        printMember("remark", remark);
        std::printf("}\n");
    }
}

void Report::noteFound(const char* name, const char* virus)
{
    foundSomething_ = true;
    if (found_.size() < mostNamed)
        found_.push_back(std::string(name) + (virus ? std::string(" (") + virus + ")" : ""));
}

void Report::objectText(const char* name, int type, int status, const char* virus, const char* remark)
{
    const std::string safeName = escapeForTerminal(name);
    const std::string safeVirus = escapeForTerminal(virus ? virus : "");
    const std::string safeRemark = escapeForTerminal(remark ? remark : "");
    const std::string line =
        scanlog::objectLine(safeName.c_str(), type, status, virus ? safeVirus.c_str() : nullptr,
                            remark ? safeRemark.c_str() : nullptr);
    std::fputs(line.c_str(), stdout);
}

void Report::objectJson(const char* name, int type, int status, const char* virus, const char* remark)
{
    std::printf("{\"type\":\"%s\",\"status\":\"%s\"", scanlog::isProcess(type) ? "process" : "file",
                scanlog::statusWord(status));
    printMember("name", name);
    printMember("virus", virus);
    printMember("remark", remark);
    std::printf("}\n");
}

void Report::summary(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending)
{
    hideProgress();
    if (options_.quiet)
        return;
    options_.json ? summaryJson(statistics, ending) : summaryText(statistics, ending);
    std::fflush(stdout);
}

void Report::summaryText(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending)
{
    std::printf("\n");
    for (const Counter& counter : counters) {
        if (counter.always || statistics.*counter.value)
            std::printf("%-20s %u\n", counter.text, statistics.*counter.value);
    }
    if (ending.remembered)
        std::printf("%-20s %u\n", "Remembered objects", ending.remembered);
    for (const std::string& name : notEntered_)
        std::printf("%-20s %s\n", "Not entered", escapeForTerminal(name).c_str());
    std::printf("%-20s %lld s\n", "Time", static_cast<long long>(ending.duration.count()));
    if (!ending.complete)
        std::printf("The scan was stopped before completion.\n");
}

void Report::summaryJson(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending)
{
    std::printf("{\"type\":\"summary\",\"complete\":%s,\"seconds\":%lld", ending.complete ? "true" : "false",
                static_cast<long long>(ending.duration.count()));
    if (!ending.error.empty())
        printMember("error", ending.error.c_str());
    if (!ending.leftOut.empty())
        printMember("signatures_left_out", ending.leftOut.c_str());
    for (const Counter& counter : counters)
        std::printf(",\"%s\":%u", counter.key, statistics.*counter.value);
    std::printf(",\"remembered\":%u}\n", ending.remembered);
}

void Report::showProgress(const char* name)
{
    if (!progress_)
        return;
    if (*name)
        current_ = name;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress_ < progressInterval)
        return;
    lastProgress_ = now;
    std::string line = std::to_string(objects_) + " objects, " + escapeForTerminal(current_);
    const std::size_t width = terminalWidth() - 1;
    if (line.size() > width) {
        line.resize(width - 3);
        while (!line.empty() && !isUtf8(line)) // not in the middle of a character
            line.pop_back();
        line += "...";
    }
    std::fprintf(stderr, "\r\x1b[K%s", line.c_str());
    std::fflush(stderr);
    progressShown_ = true;
}

void Report::hideProgress()
{
    if (!progressShown_)
        return;
    std::fprintf(stderr, "\r\x1b[K");
    std::fflush(stderr);
    progressShown_ = false;
}
