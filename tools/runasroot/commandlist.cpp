#include "tools/runasroot/commandlist.h"

#include "base/paths.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace runasroot {

namespace {

constexpr std::size_t maxWords = 4;

struct Row
{
    std::array<const char*, maxWords> line; ///< unused places are null
    Action action;
    const char* path;
};

constexpr char cron[] = "/etc/init.d/cron";
constexpr char crond[] = "/etc/init.d/crond";

constexpr Row rows[] = {
    {{"/bin/chmod", "666", paths::quarantineRecords}, Action::AllowWriting, paths::quarantineRecords},
    {{"/bin/chmod", "666", paths::newQuarantineRecords}, Action::AllowWriting, paths::newQuarantineRecords},
    {{"/usr/bin/touch", paths::updateCrontab}, Action::TouchCrontab, paths::updateCrontab},
    {{"/bin/chown", "qsconf:qsconf", paths::updateCrontab}, Action::OwnCrontab, paths::updateCrontab},
    {{"/usr/bin/crontab", paths::updateCrontab, "-u", "qsconf"},
     Action::InstallCrontab,
     paths::updateCrontab},
    {{cron, "restart"}, Action::RestartCron, cron},
    {{crond, "restart"}, Action::RestartCron, crond},
    {{paths::updateNow}, Action::UpdateNow, paths::updateNow},
};

bool matches(const Row& row, std::span<const char* const> line)
{
    const auto words = std::ranges::find(row.line, nullptr) - row.line.begin();
    return std::ranges::equal(line, std::span(row.line).first(static_cast<std::size_t>(words)),
                              [](std::string_view a, std::string_view b) { return a == b; });
}

} // namespace

std::optional<Command> findCommand(std::span<const char* const> line)
{
    const auto row = std::ranges::find_if(rows, [line](const Row& r) { return matches(r, line); });
    if (row == std::end(rows))
        return std::nullopt;
    return Command{row->action, row->path};
}

} // namespace runasroot
