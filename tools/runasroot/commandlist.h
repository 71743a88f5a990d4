#pragma once

#include <optional>
#include <span>

namespace runasroot {

/// What a caller other than root may have done.
enum class Action {
    AllowWriting,   ///< make a quarantine record file writable for all
    TouchCrontab,   ///< create the update crontab file or renew its times
    OwnCrontab,     ///< give the update crontab file to qsconf
    InstallCrontab, ///< make the update crontab file the crontab of qsconf
    RestartCron,
    UpdateNow,
};

struct Command
{
    Action action;
    const char* path; ///< the file or program that the command line names; static storage
};

/// The action that a whole command line (program and arguments) stands for, if it is one of the
/// product's own. Compares byte for byte: there is nothing in it that a caller could vary.
std::optional<Command> findCommand(std::span<const char* const> line);

} // namespace runasroot
