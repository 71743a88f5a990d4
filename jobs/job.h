#pragma once

#include "engine/schedule.h"

#include <string>
#include <string_view>
#include <vector>

namespace jobs {

/// One scheduled scan.
struct Job
{
    std::string name; ///< as a person typed it, in bytes
    unsigned char frequency = FREQ_ONCE;
    int year = 0; ///< of a single run, as 2026; else 0
    unsigned char month = 1;
    unsigned char monthDay = 1;
    unsigned char weekDay = 0; ///< 0 is Sunday
    unsigned char hour = 0;
    unsigned char minute = 0;
    unsigned int action = SCANACT_LOG;
    unsigned int flags = SCANFLAG_NO_DISINFECT; ///< SCANFLAG_ bits
    std::vector<std::string> objects;           ///< absolute paths in bytes

    bool operator==(const Job&) const = default;
};

/// What stands for the job of this name where nothing may stand that a person typed: 16 hexadecimal digits,
/// made of the name alone.
std::string idOf(std::string_view name);

} // namespace jobs
