#include "containers/programs.h"

#include <algorithm>

namespace containers {

std::uint64_t endOfElf(Content content)
{
    const bool wide = numberAt(content, 4, 1) == 2;
    const auto sections = numberAt(content, wide ? 0x28 : 0x20, wide ? 8 : 4);
    const auto length = numberAt(content, wide ? 0x3a : 0x2e, 2),
               count = numberAt(content, wide ? 0x3c : 0x30, 2);
    return sections <= content.size() ? sections + length * count : 0;
}

std::uint64_t endOfPe(Content content)
{
    const auto header = numberAt(content, 0x3c, 4);
    if (!standsAt(content, header, "PE"))
        return 0;
    const auto count = numberAt(content, header + 6, 2), optional = numberAt(content, header + 20, 2);
    std::uint64_t end = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const auto section = header + 24 + optional + 40 * i;
        end = std::max(end, numberAt(content, section + 16, 4) + numberAt(content, section + 20, 4));
    }
    return end;
}

} // namespace containers
