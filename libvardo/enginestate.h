#pragma once

#include "engine/vardo.h"

#include <string>
#include <vector>

namespace vardo {

/// What a Vardo object knows beyond the fields of its boundary; hangs off its `handle`.
struct EngineState
{
    std::string avConf;                ///< configuration that names the service; empty: the installation's
    bool loaded = false;               ///< the service was brought up
    std::string quarantineDir;         ///< set for the session, empty: the configured one
    std::string renameExtension;       ///< likewise
    bool remembers = true;             ///< clean files are remembered, if the configuration has it so
    bool gentle = false;               ///< what is only read for a scan leaves the memory again
    unsigned remembered = 0;           ///< objects that were not scanned as they were clean before
    std::string error;                 ///< text of the last failure
    std::string leftOut;               ///< signatures that were not loaded, for a person
    std::vector<std::string> refused;  ///< settings that do not count for root, likewise
    unsigned workers = 0;              ///< processes that scan; 0: as configured
    VardoObject* lastObject = nullptr; ///< where the list of objects to scan ends
};

} // namespace vardo
