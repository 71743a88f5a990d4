#include "containers/streamends.h"

#include <string_view>

namespace containers {

namespace {

using namespace std::literals;

constexpr std::uint64_t bzip2End = 0x177245385090; // 48 bits, then a checksum of 32
constexpr std::string_view bzip2Block = "1AY&SY"sv;

bool endsAsBzip2(Content content)
{
    if (content.size() < 14)
        return false;
    // A stream ends at any bit of its last byte.
    for (unsigned spare = 0; spare < 8; ++spare) {
        std::uint64_t mark = 0;
        for (unsigned bit = 80 + spare; bit > 32 + spare; --bit) {
            const auto byte = std::to_integer<unsigned>(content[content.size() - 1 - (bit - 1) / 8]);
            mark = mark << 1 | ((byte >> ((bit - 1) % 8)) & 1);
        }
        if (mark == bzip2End)
            return true;
    }
    return false;
}

} // namespace

bool isBzip2InPart(Content content)
{
    const std::string_view text = textOf(content);
    if (!endsAsBzip2(content))
        return text.substr(4, bzip2Block.size()) == bzip2Block;
    for (auto at = text.find(bzip2Block, 5); at != text.npos; at = text.find(bzip2Block, at + 1))
        if (text.substr(at - 4, 3) == "BZh")
            return true;
    return false;
}

bool lacksXzEnd(Content content)
{
    const std::size_t last = textOf(content).find_last_not_of('\0');
    return last == std::string_view::npos || last == 0 || !standsAt(content, last - 1, "YZ"sv);
}

std::uint64_t lengthOfGzip(Content content)
{
    return content.size() < 18 ? 0 : numberAt(content, content.size() - 4, 4);
}

} // namespace containers
