#include "containers/zipdirectory.h"

#include <algorithm>
#include <array>

namespace containers {

namespace {

using namespace std::literals;

constexpr std::size_t endLength = 22;
constexpr std::size_t maxComment = 0xffff;
constexpr std::size_t entryLength = 46;
constexpr std::uint64_t inZip64 = 0xffffffff;
constexpr std::array<std::uint64_t, 5> usualMethods{0, 6, 8, 9, 12};

/// Behind it nothing but a comment.
std::size_t findEnd(Content content)
{
    const std::size_t reach = std::min(content.size(), endLength + maxComment);
    const std::size_t found = textOf(content.last(reach)).rfind("PK\5\6"sv);
    return found == std::string_view::npos ? found : content.size() - reach + found;
}

bool isUsual(Content content, std::uint64_t entry, std::uint64_t local)
{
    if (numberAt(content, entry + 8, 2) & 1) // encrypted, and told by the library
        return true;
    const auto method = numberAt(content, entry + 10, 2);
    if (std::find(usualMethods.begin(), usualMethods.end(), method) == usualMethods.end())
        return false;
    const auto large = [&](std::uint64_t offset) { return numberAt(content, offset, 4) == inZip64; };
    return standsAt(content, local, "PK\3\4"sv) && !large(entry + 20) && !large(entry + 24) &&
           !large(entry + 42) && !large(local + 18) && !large(local + 22);
}

} // namespace

ZipDirectory readZipDirectory(Content content)
{
    ZipDirectory directory;
    const std::size_t end = findEnd(content);
    directory.found = end != std::string_view::npos && content.size() - end >= endLength;
    if (!directory.found)
        return directory;
    const auto count = numberAt(content, end + 10, 2), size = numberAt(content, end + 12, 4),
               offset = numberAt(content, end + 16, 4);
    if (count == 0xffff || size > end || offset > end - size)
        return directory;
    const std::uint64_t before = end - size - offset; // of the archive's own beginning
    std::uint64_t entry = end - size;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (!standsAt(content, entry, "PK\1\2"sv))
            return directory;
        const auto length = numberAt(content, entry + 28, 2);
        const std::string name(textOf(content).substr(std::min(entry + entryLength, content.size()), length));
        const bool usual = isUsual(content, entry, before + numberAt(content, entry + 42, 4));
        (usual ? directory.plain : directory.special).insert(name);
        entry += entryLength + length + numberAt(content, entry + 30, 2) + numberAt(content, entry + 32, 2);
    }
    directory.whole = true;
    return directory;
}

} // namespace containers
