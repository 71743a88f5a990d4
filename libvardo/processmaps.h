#pragma once

#include "base/result.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vardo {

/// One executable range of a process's memory.
struct CodeMapping
{
    std::uint64_t start = 0; ///< first address
    std::uint64_t end = 0;   ///< address behind the last
    std::uint64_t device = 0;
    std::uint64_t inode = 0; ///< of the file behind it, 0 when there is none
    std::string path;        ///< as the kernel writes it, may end in " (deleted)"
};

/// Understands one line of /proc/PID/maps; false when it is malformed or the range is not executable
/// or holds code of the kernel.
bool parseCodeMapping(std::string_view line, CodeMapping& mapping);

/// Reads the executable ranges of the process whose /proc directory is open as `process`.
base::Result<std::vector<CodeMapping>> readCodeMappings(int process);

/// `text` with control characters as \xHH, so that it can stand in a line of text.
std::string printable(std::string_view text);

} // namespace vardo
