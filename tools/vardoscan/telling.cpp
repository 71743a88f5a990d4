#include "tools/vardoscan/telling.h"

#include "installation/membership.h"
#include "tools/escape.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/scan.h"

#include <array>

#include <unistd.h>

namespace {

constexpr std::size_t longestName = 100;

using Counter = unsigned int QS_InterfaceScanStatistics::*;

struct Deed
{
    Counter count;
    const char* text;
};

constexpr std::array deeds{
    Deed{&QS_InterfaceScanStatistics::scQuarantined, "moved into quarantine"},
    Deed{&QS_InterfaceScanStatistics::scDeleted, "deleted"},
    Deed{&QS_InterfaceScanStatistics::scRenamed, "renamed"},
    Deed{&QS_InterfaceScanStatistics::scCured, "disinfected"},
};

/// "1 infected file", "2 infected files".
std::string counted(unsigned count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string were(unsigned count)
{
    return count == 1 ? " was " : " were ";
}

/// A name that somebody else may have chosen, as one harmless line. A long one loses its middle.
std::string shown(std::string name)
{
    if (name.size() > longestName)
        name = name.substr(0, longestName / 2) + "..." + name.substr(name.size() - longestName / 2);
    return escapeForTerminal(name);
}

std::string whatWasFound(const QS_InterfaceScanStatistics& statistics)
{
    std::string text;
    if (statistics.scInfected > 0)
        text = counted(statistics.scInfected, "infected file");
    if (statistics.scSuspicious > 0)
        text += (text.empty() ? "" : " and ") + counted(statistics.scSuspicious, "suspicious file");
    return text;
}

std::string summaryOf(const ScanResult& result)
{
    const std::string found = whatWasFound(result.statistics);
    if (!found.empty())
        return "Vardo found " + found;
    if (result.end == ScanResult::End::Failed)
        return "Vardo could not scan";
    if (result.end == ScanResult::End::Stopped)
        return "Vardo was stopped before the end of a scan";
    return "Vardo could not scan everything";
}

std::string whatWasDone(const QS_InterfaceScanStatistics& statistics)
{
    std::string text;
    bool anything = false;
    for (const Deed& deed : deeds) {
        const unsigned count = statistics.*deed.count;
        if (count > 0)
            text += counted(count, "file") + were(count) + deed.text + ".\n";
        anything = anything || count > 0;
    }
    if (statistics.scActionError > 0)
        text += counted(statistics.scActionError, "action") + " failed.\n";
    else if (!anything && statistics.scInfected > 0)
        text += "Nothing was done about it.\n";
    return text;
}

std::string howItWent(const ScanResult& result)
{
    std::string text;
    if (result.unscanned() > 0)
        text += counted(result.unscanned(), "object") + " could not be scanned wholly.\n";
    if (result.end == ScanResult::End::Stopped)
        text += "The scan was stopped before its end.\n";
    else if (!result.error.empty())
        text += "The scan failed: " + shown(result.error) + "\n";
    return text;
}

/// Nothing where there is a whole log, or none was wanted.
std::string whereNoLogIs(const ScanResult& result)
{
    const std::string hint = membershipHint();
    return result.unlogged ? "There is no whole log" + (hint.empty() ? "" : ": " + hint) + ".\n" : "";
}

std::string bodyOf(const ScanResult& result, const std::string& schedule)
{
    std::string text = schedule.empty() ? "" : "Scheduled scan: " + shown(schedule) + "\n";
    for (const std::string& name : result.found)
        text += schedule.empty() ? shown(name) + "\n" : "";
    text += whatWasDone(result.statistics) + howItWent(result) + whereNoLogIs(result);
    if (!result.logLocation.empty())
        text += "More is in the newest scan log in " + shown(result.logLocation) + "/vardo.\n";
    return text.substr(0, text.size() - text.ends_with('\n'));
}

/// Of all messages about one run.
std::string topic()
{
    return "scan " + std::to_string(::getpid());
}

} // namespace

std::optional<notify::Message> messageAbout(const ScanResult& result, const std::string& schedule)
{
    const bool found = !whatWasFound(result.statistics).empty();
    if (!found && result.unscanned() == 0 && result.end == ScanResult::End::Complete)
        return std::nullopt;
    return notify::Message{summaryOf(result), bodyOf(result, schedule), found, topic(),
                           found ? notify::window : result.logFile};
}

notify::Message messageOfBegin(const Options& options)
{
    std::string body = std::to_string(options.paths.size()) + " files and directories";
    if (options.memory)
        body = "The running processes";
    else if (options.paths.size() == 1)
        body = shown(options.paths.front());
    return {"Vardo is scanning", body, false, topic(), ""};
}

notify::Message messageOfNothing(const ScanResult& result)
{
    const unsigned count = result.statistics.scFiles;
    const std::string body = counted(count, "object") + were(count) + "scanned.\n" + whereNoLogIs(result);
    return {"Vardo found nothing", body.substr(0, body.size() - 1), false, topic(), result.logFile};
}
