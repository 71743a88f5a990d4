#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include <sys/stat.h>

namespace qsavd {

/// What a file may take up on its disk for each length of time that it is given.
inline constexpr std::uint64_t bytesForTime = 16ull << 20;

/// How long the scan of a file may take: `seconds`, and as long again for each further 16 MB that it really
/// takes up. So a large archive is not given up half way, while a small bomb gets no more than others.
inline std::chrono::seconds timeForFile(std::uint32_t seconds, const struct stat& file)
{
    constexpr std::uint64_t block = 512; // inode(7)
    const std::uint64_t bytes = std::min(static_cast<std::uint64_t>(file.st_size),
                                         static_cast<std::uint64_t>(file.st_blocks) * block);
    const std::uint64_t times = std::max<std::uint64_t>(1, (bytes + bytesForTime - 1) / bytesForTime);
    return std::chrono::seconds(seconds * times);
}

} // namespace qsavd
