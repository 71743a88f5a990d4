#include "loglayout/scanlog.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace {

struct StatusWord
{
    int bit;
    const char* word;
};

constexpr StatusWord statusWords[] = {
    {SCANSTAT_CLEAN, "CLEAN"},
    {SCANSTAT_INFECTED, "INFECTED"},
    {SCANSTAT_SUSPECTED, "SUSPECTED"},
    {SCANSTAT_ERROR, "ERROR"},
    {SCANSTAT_DISINFECTED, "DISINFECTED"},
    {SCANSTAT_DELETED, "DELETED"},
    {SCANSTAT_QUARANTINED, "QUARANTINED"},
    {SCANSTAT_RENAMED, "RENAMED"},
    {SCANSTAT_CURE_FAILED, "CURE FAILED"},
    {SCANSTAT_DELETE_FAILED, "DELETE FAILED"},
    {SCANSTAT_QUARANTINE_FAILED, "QUARANTINE FAILED"},
    {SCANSTAT_RENAME_FAILED, "RENAME FAILED"},
    {SCANSTAT_CORRUPT, "CORRUPT"},
    {SCANSTAT_ENCRYPTED, "ENCRYPTED"},
};

const StatusWord* findStatus(int status)
{
    return std::find_if(std::begin(statusWords), std::end(statusWords),
                        [status](const StatusWord& entry) { return (status & entry.bit) != 0; });
}

/// By SCANACT_ code.
constexpr std::array actionWords = {"Log only", "Delete", "Rename", "Quarantine", "Prompt"};
constexpr std::array cureActionWords = {"Disinfect-Log", "Disinfect-Delete", "Disinfect-Rename",
                                        "Disinfect-Quarantine", "Disinfect-Prompt"};

const char* actionWord(const scanlog::Configuration& configuration)
{
    const auto& words = configuration.scanOpts & SCANFLAG_DISINFECT ? cureActionWords : actionWords;
    return configuration.action < words.size() ? words[configuration.action] : "Unknown";
}

/// The rows that tell a switch of the scan, in their order.
struct SwitchRow
{
    unsigned int flag;
    bool whenSet; ///< "Yes" stands for the set flag.
    const char* caption;
    const char* tabs;
};

constexpr SwitchRow switchRows[] = {
    {SCANFLAG_NO_PACKED, false, "Scan packed", "\t\t\t"},
    {SCANFLAG_NO_ARCHIVES, false, "Scan archives", "\t\t\t"},
    {SCANFLAG_NO_MAILS, false, "Scan mails", "\t\t\t"},
    {SCANFLAG_NO_HEURISTIC, false, "Use heuristics scanning", "\t\t"},
    {SCANFLAG_NO_RECURSE, false, "Recursive", "\t\t\t"},
    {SCANFLAG_FOLLOW_SYMLINKS, true, "Follow symbolic links", "\t\t"},
    {SCANFLAG_CROSS_FS, true, "Cross file system", "\t\t"},
};

void writeRow(const char* caption, const char* tabs, const char* value)
{
    LogMe(LOGLEVEL_MINIMUM, "%s%s: %s\n", caption, tabs, value);
}

void writeLimits(const scanlog::Configuration& configuration)
{
    const unsigned int flags = configuration.scanOpts;
    if (flags & SCANFLAG_INCLUDE_EXTENSIONS)
        writeRow("Scan extensions", "\t\t\t", configuration.extensions);
    else if (flags & SCANFLAG_EXCLUDE_EXTENSIONS)
        writeRow("Exclude extensions", "\t\t", configuration.extensions);
    if (flags & SCANFLAG_EXCLUDE_DIRS)
        writeRow("Exclude directories", "\t\t", configuration.excludeDirs ? configuration.excludeDirs : "");
    if (flags & SCANFLAG_MAX_DEPTH && !(flags & SCANFLAG_NO_RECURSE))
        writeRow("Max recursion depth", "\t\t", std::to_string(configuration.maxDepth).c_str());
    if (flags & SCANFLAG_MAX_SIZE)
        writeRow("Max file scan size", "\t\t", std::to_string(configuration.maxSize).c_str());
}

void writeDashes()
{
    LogMe(LOGLEVEL_MINIMUM, "-------------------------------------------------------\n");
}

unsigned char statusLevel(int status)
{
    return status & (SCANSTAT_CLEAN | SCANSTAT_ERROR) ? LOGLEVEL_ALL : LOGLEVEL_INFECTED;
}

} // namespace

std::optional<scanlog::Configuration> scanlog::readConfiguration(Vardo& scan)
{
    Configuration read;
    const auto get = [&scan](unsigned int id, auto& value) { return scan.GetOption(id, &value) >= 0; };
    const auto getIf = [&](bool wanted, unsigned int id, auto& value) { return !wanted || get(id, value); };
    const auto has = [&read](unsigned int flag) { return (read.scanOpts & flag) != 0; };

    if (!get(SCANOPT_SCANOPTS, read.scanOpts) || !get(SCANOPT_ACTION, read.action) ||
        !get(SCANOPT_LOGLEVEL, read.logLevel))
        return std::nullopt;
    const bool usesActData = read.action == SCANACT_QUARANTINE || read.action == SCANACT_RENAME;
    if (!getIf(usesActData, SCANOPT_ACTDATA, read.actData) ||
        !getIf(has(SCANFLAG_INCLUDE_EXTENSIONS), SCANOPT_EXTENSIONS, read.extensions) ||
        !getIf(has(SCANFLAG_EXCLUDE_EXTENSIONS), SCANOPT_EXTENSIONS, read.extensions) ||
        !getIf(has(SCANFLAG_EXCLUDE_DIRS), SCANOPT_EXCLUDEDIRS, read.excludeDirs) ||
        !getIf(has(SCANFLAG_MAX_DEPTH), SCANOPT_MAXDEPTH, read.maxDepth) ||
        !getIf(has(SCANFLAG_MAX_SIZE), SCANOPT_MAXSIZE, read.maxSize))
        return std::nullopt;
    return read;
}

void scanlog::writeBanner()
{
    LogMe(LOGLEVEL_MINIMUM, "*******************************************************");
    LogMe(LOGLEVEL_MINIMUM, "\n\t  Vardo Anti-Virus for Linux\n");
    LogMe(LOGLEVEL_MINIMUM, "\t  Copyright (C) Quillstone, GNU GPL version 2\n");
    LogMe(LOGLEVEL_MINIMUM, "\t http://www.quillstone.example/\n");
    LogMe(LOGLEVEL_MINIMUM, "*******************************************************\n\n");
}

void scanlog::writeConfiguration(const Configuration& configuration)
{
    writeDashes();
    LogMe(LOGLEVEL_MINIMUM, "\t\tScan Configuration\n");
    writeDashes();
    for (const SwitchRow& row : switchRows) {
        const bool set = (configuration.scanOpts & row.flag) != 0;
        writeRow(row.caption, row.tabs, set == row.whenSet ? "Yes" : "No");
    }
    writeRow("Scan action", "\t\t\t", actionWord(configuration));
    if (configuration.action == SCANACT_QUARANTINE)
        writeRow("Quarantine path", "\t\t\t", configuration.actData);
    if (configuration.action == SCANACT_RENAME)
        writeRow("Rename path", "\t\t\t", configuration.actData);
    writeLimits(configuration);
    LogMe(LOGLEVEL_MINIMUM, "%s\t\t\t: %u\n", "Log level", configuration.logLevel);
    LogMe(LOGLEVEL_MINIMUM, "\n");
}

void scanlog::writeStatistics(const QS_InterfaceScanStatistics& stats)
{
    constexpr unsigned char level = LOGLEVEL_MINIMUM;
    LogMe(level, "--------------------Scan Statistics--------------------\n");
    LogMe(level, "Scanned directories\t\t%u\n", stats.scDirectories);
    LogMe(level, "Scanned objects\t\t\t%u\n", stats.scFiles);
    LogMe(level, "Infected objects\t\t%u\n", infectedCount(stats));
    LogMe(level, "Suspicious objects\t\t%u\n", stats.scSuspicious);
    LogMe(level, "Disinfected objects\t\t%u\n", stats.scCured);
    LogMe(level, "Uncurable objects\t\t%u\n", stats.scCureFailed);
    LogMe(level, "Viruses found\t\t\t%u\n", virusCount(stats));
    LogMe(level, "Deleted objects\t\t\t%u\n", stats.scDeleted);
    LogMe(level, "Rename objects\t\t\t%u\n", stats.scRenamed);
    LogMe(level, "Quarantined objects\t\t%u\n", stats.scQuarantined);
    LogMe(level, "Corrupt objects\t\t\t%u\n", stats.scCorrupt);
    LogMe(level, "Encrypted objects\t\t%u\n", stats.scEncrypted);
    LogMe(level, "Actions failed\t\t\t%u\n", stats.scActionError);
    writeDashes();
}

void scanlog::writeLine(const char* text)
{
    LogMe(LOGLEVEL_MINIMUM, "%s\n", text);
}

unsigned int scanlog::infectedCount(const QS_InterfaceScanStatistics& stats)
{
    return stats.scQuarantined + stats.scRenamed + stats.scCured + stats.scDeleted;
}

unsigned int scanlog::virusCount(const QS_InterfaceScanStatistics& stats)
{
    return std::min(stats.scVirus, infectedCount(stats));
}

bool scanlog::hasStatus(int status)
{
    return findStatus(status) != std::end(statusWords);
}

const char* scanlog::statusWord(int status)
{
    const StatusWord* found = findStatus(status);
    return found != std::end(statusWords) ? found->word : "UNKNOWN STATUS";
}

bool scanlog::isProcess(int objectType)
{
    return (objectType & (OBJTYPE_PROCESS | OBJTYPE_PROCESS_ALT)) != 0;
}

std::string scanlog::objectLine(const char* name, int type, int status, const char* virus, const char* remark)
{
    std::string line(isProcess(type) ? "PID: " : "");
    line.append(name).append(" ").append(statusWord(status));
    if (virus)
        line.append(" [").append(virus).append("]");
    if (remark)
        line.append(" (").append(remark).append(")");
    return line.append("\n");
}

void scanlog::writeDirectory(const char* name)
{
    LogMe(LOGLEVEL_ALL, "Scanning directory %s\n", name);
}

void scanlog::writeObject(const std::string& line, int status)
{
    LogMe(statusLevel(status), "%s", line.c_str());
}

void scanlog::writeAccessDenied(const std::string& file, int status)
{
    LogMe(statusLevel(status), "%s [%s]\n", file.c_str(), "Access Denied");
}
