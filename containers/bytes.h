#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace containers {

/// What a file holds, as it lies in memory. Whoever made it keeps the memory.
using Content = std::span<const std::byte>;

inline std::string_view textOf(Content content)
{
    return {reinterpret_cast<const char*>(content.data()), content.size()};
}

/// `count` bytes from `offset` on, the lowest first; 0 where the content does not reach.
inline std::uint64_t numberAt(Content content, std::uint64_t offset, unsigned count)
{
    if (offset > content.size() || content.size() - offset < count)
        return 0;
    std::uint64_t value = 0;
    for (unsigned i = count; i-- > 0;)
        value = value << 8 | std::to_integer<std::uint64_t>(content[offset + i]);
    return value;
}

/// Whether `bytes` stand at `offset`.
inline bool standsAt(Content content, std::uint64_t offset, std::string_view bytes)
{
    return offset <= content.size() && textOf(content).substr(offset, bytes.size()) == bytes;
}

} // namespace containers
