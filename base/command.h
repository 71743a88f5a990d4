#pragma once

#include <initializer_list>
#include <string>
#include <vector>

enum class CommandOutput { Kept, Discarded };

/// Runs a program, named by its whole path, with its arguments and waits for its end; no shell is involved.
/// What it prints goes where the caller's own output goes, or to /dev/null. Returns its wait status, that of
/// an exit with 127 when there is no such program, or -1 when no process could be made.
int runCommand(std::initializer_list<const char*> command, CommandOutput output = CommandOutput::Kept);

/// Likewise, with all that it prints, also to standard error, put into `output`.
int runCommand(const std::vector<std::string>& command, std::string& output);
