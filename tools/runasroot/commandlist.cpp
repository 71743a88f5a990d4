#include "tools/runasroot/commandlist.h"

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

constexpr char records[] = "/opt/Quillstone/etc/vardo/.quarantined";
constexpr char newRecords[] = "/opt/Quillstone/etc/vardo/.quarantined_tmp";
constexpr char crontab[] = "/opt/Quillstone/etc/qsavupdate";
constexpr char cron[] = "/etc/init.d/cron";
constexpr char crond[] = "/etc/init.d/crond";
constexpr char updateNow[] = "/opt/Quillstone/usr/bin/updatenow";

constexpr Row rows[] = {
    {{"/bin/chmod", "666", records}, Action::AllowWriting, records},
    {{"/bin/chmod", "666", newRecords}, Action::AllowWriting, newRecords},
    {{"/usr/bin/touch", crontab}, Action::TouchCrontab, crontab},
    {{"/bin/chown", "qsconf:qsconf", crontab}, Action::OwnCrontab, crontab},
    {{"/usr/bin/crontab", crontab, "-u", "qsconf"}, Action::InstallCrontab, crontab},
    {{cron, "restart"}, Action::RestartCron, cron},
    {{crond, "restart"}, Action::RestartCron, crond},
    {{updateNow}, Action::UpdateNow, updateNow},
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
