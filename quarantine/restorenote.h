#pragma once

#include "quarantine/digest.h"

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace quarantine {

/// What is needed to put a quarantined file back, and to know it again.
struct RestoreNote
{
    std::string name;   ///< in the quarantine directory
    std::string origin; ///< absolute path without links that it had; bytes; empty when there was none
    std::string virus;
    Digest content;
    uid_t owner = 0; ///< this and the rest as they were at its origin
    gid_t group = 0;
    mode_t mode = 0; ///< permission bits without set-uid, which a file has lost for good
    timespec accessed = {};
    timespec modified = {};
    timespec quarantined = {};
};

/// The note as it is stored. Any text may stand in it.
std::string toText(const RestoreNote& note);

/// Reads what toText() gave. Nothing for any other text.
std::optional<RestoreNote> parseNote(std::string_view text);

} // namespace quarantine
