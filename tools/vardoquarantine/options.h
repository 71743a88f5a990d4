#pragma once

#include <optional>
#include <string>
#include <vector>

/// What the command line asks for.
struct Options
{
    enum class Task { List, Restore, Delete, Repair, Help, Version };

    Task task = Task::Help;
    std::vector<std::string> names; ///< of files in quarantine, for Restore and Delete
    std::string quarantineDir;      ///< empty: that of the window
    bool json = false;
};

/// Understands the command line. Without a result, `error` says for a person what is wrong.
std::optional<Options> parseOptions(int argc, char** argv, std::string& error);

/// The text that --help prints.
const char* usage();
