#pragma once

#include "engine/interface.h"

#include <optional>
#include <string>
#include <vector>

/// What the command line asks for. What it leaves open stays as the configuration file has it.
struct Options
{
    enum class Task { Scan, Help, Version, Schedule, Missed, ListSchedules, RemakeCron, Forget };

    /// What people are told by notifications.
    enum class Notify { Nothing, Problems, Everything };

    Task task = Task::Scan;
    std::vector<std::string> paths;
    std::string filesFrom; ///< a file with more of them, `-` for the standard input; empty: none
    char divider = '\n';   ///< behind each name in it
    bool home = false;     ///< and the caller's home directory
    bool memory = false;
    bool remembers = true; ///< what was clean and has not changed is left out
    bool gentle = false;   ///< leaves in memory only what was there before
    std::string scanConf;
    std::string avConf;

    unsigned int action = SCANACT_LOG; ///< never the configured one: nothing is changed unasked
    std::string quarantineDir;
    std::string extension = "qst"; ///< of renamed files

    unsigned int setBits = 0;   ///< SCANFLAG_ bits to set
    unsigned int unsetBits = 0; ///< and to clear
    std::optional<std::string> extensions;
    bool leavesRenamed = false; ///< those files are left out, unless the configuration lists extensions
    std::string excludeDirs;    ///< divided by semicolons
    std::optional<unsigned long> maxSize;
    std::optional<unsigned char> maxDepth;

    bool log = false;                     ///< writes a scan log
    std::string logLocation;              ///< empty: the configured one
    std::optional<unsigned int> logLevel; ///< a LOGLEVEL_ code

    bool json = false;
    bool quiet = false;
    bool all = false; ///< clean objects are printed too
    bool progress = true;
    Notify notify = Notify::Nothing;
    std::optional<unsigned> jobs; ///< processes that scan

    std::string scheduleId; ///< of Task::Schedule
};

/// Understands the command line. Without a result, `error` says for a person what is wrong.
std::optional<Options> parseOptions(int argc, char** argv, std::string& error);
