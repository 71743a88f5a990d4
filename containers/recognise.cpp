#include "containers/recognise.h"

#include "containers/marks.h"
#include "containers/programs.h"
#include "containers/zipdirectory.h"

#include <algorithm>

namespace containers {

namespace {

using namespace std::literals;

/// What a script unpacks, as installers do: it begins with a line, and soon has a byte that no text has.
std::optional<Container> recogniseBehindScript(Content content)
{
    constexpr std::size_t soon = 4096;
    const std::string_view text = textOf(content);
    const std::size_t binary = std::min(text.find('\0'), text.size());
    std::size_t line = binary == text.size() ? text.npos : text.find('\n', binary - std::min(binary, soon));
    for (; line < binary; line = text.find('\n', line + 1))
        if (const auto container = markedBehind(content, line + 1))
            return container;
    return std::nullopt;
}

/// An archive that was hidden behind a picture.
std::optional<Container> recogniseBehindPicture(Content content)
{
    std::size_t begin = content.size();
    for (const std::string_view mark : {"Rar!\x1a\7\0"sv, "Rar!\x1a\7\1\0"sv, "7z\xbc\xaf\x27\x1c"sv})
        begin = std::min(begin, textOf(content).find(mark));
    if (begin < content.size())
        return markedAt(content, begin);
    const ZipDirectory zip = readZipDirectory(content);
    return !zip.special.empty() ? std::optional(Container{Format::Zip, "zip", 0}) : std::nullopt;
}

bool isPicture(Content content)
{
    return standsAt(content, 0, "\xff\xd8\xff"sv) || standsAt(content, 0, "\x89PNG\r\n\x1a\n"sv) ||
           standsAt(content, 0, "GIF8"sv);
}

/// Where the program ends that a file begins with, or the header of a browser's extension; 0 when nothing
/// follows there.
std::size_t endOfHead(Content content)
{
    std::uint64_t end = 0;
    if (standsAt(content, 0,
                 "\x7f"
                 "ELF"sv))
        end = endOfElf(content);
    else if (standsAt(content, 0, "MZ"sv))
        end = endOfPe(content);
    else if (standsAt(content, 0, "Cr24\3\0\0\0"sv))
        end = 12 + numberAt(content, 8, 4);
    return end < content.size() ? end : 0;
}

} // namespace

std::optional<Container> recognise(Content content)
{
    if (auto container = markedAt(content, 0))
        return container;
    if (standsAt(content, 0, "#!"sv))
        return recogniseBehindScript(content);
    if (isPicture(content))
        return recogniseBehindPicture(content);
    const std::size_t end = endOfHead(content);
    return end ? markedBehind(content, end) : std::nullopt;
}

std::optional<Container> recogniseStream(Content content)
{
    const auto head = numberAt(content, 0, 1) << 8 | numberAt(content, 1, 1);
    if ((head & 0x8f00) != 0x0800 || head % 31 != 0 || (head & 0x20) != 0) // RFC 1950
        return std::nullopt;
    return Container{Format::Zlib, "zlib", 0};
}

} // namespace containers
