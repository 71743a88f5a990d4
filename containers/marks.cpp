#include "containers/marks.h"

#include "containers/streamends.h"
#include "containers/zipdirectory.h"

#include <algorithm>
#include <array>

namespace containers {

namespace {

using namespace std::literals;

struct Mark
{
    std::size_t offset;
    std::string_view bytes;
    Format format;
    std::string_view name;
    bool (*also)(Content) = nullptr; ///< what else must hold
};

/// A dictionary of a power of two, a size that is unknown or below 2^40, and the 0 that always follows.
bool isLzma(Content content)
{
    const auto dictionary = numberAt(content, 1, 4), size = numberAt(content, 5, 8);
    return content.size() > 13 && dictionary >= 4096 && (dictionary & (dictionary - 1)) == 0 &&
           (size == ~0ull || size >> 40 == 0) && content[13] == std::byte{0};
}

/// 9 to 16 bits a code, and no unused bit.
bool isCompress(Content content)
{
    const auto flags = numberAt(content, 2, 1);
    return (flags & 0x60) == 0 && (flags & 0x1f) >= 9 && (flags & 0x1f) <= 16;
}

bool isSkippable(Content content)
{
    return (numberAt(content, 0, 1) & 0xf0) == 0x50;
}

bool isOpenedInPart(Content content)
{
    return readZipDirectory(content).needsOther();
}

bool lacksDirectory(Content content)
{
    return !readZipDirectory(content).found;
}

constexpr std::array marks{
    Mark{0, "!<arch>\n"sv, Format::Ar, "ar"},
    Mark{0, "BZh"sv, Format::Bzip2, "bzip2", isBzip2InPart},
    Mark{0, "MSCF\0\0\0\0"sv, Format::Cab, "cab"},
    Mark{0, "\x1f\x9d"sv, Format::Compress, "compress", isCompress},
    Mark{0, "\x1f\x8b\x08"sv, Format::Gzip, "gzip"},
    Mark{0, "\x04\x22\x4d\x18"sv, Format::Lz4, "lz4"},
    Mark{0, "\x02\x21\x4c\x18"sv, Format::Lz4, "lz4"},
    Mark{0, "LZIP"sv, Format::Lzip, "lzip"},
    Mark{0, "\x5d\0\0"sv, Format::Lzma, "lzma", isLzma},
    Mark{0, "Rar!\x1a\x07\0"sv, Format::Rar, "rar"},
    Mark{0, "Rar!\x1a\x07\x01\0"sv, Format::Rar5, "rar"},
    Mark{0, "\xed\xab\xee\xdb"sv, Format::Rpm, "rpm"},
    Mark{0, "7z\xbc\xaf\x27\x1c"sv, Format::SevenZip, "7z"},
    Mark{0, "hsqs"sv, Format::Squashfs, "squashfs"},
    Mark{0, "WARC/"sv, Format::Warc, "warc"},
    Mark{0,
         "\xfd"
         "7zXZ\0"sv,
         Format::Xz, "xz", lacksXzEnd},
    Mark{0, "PK\3\4"sv, Format::ZipStream, "zip", lacksDirectory},
    Mark{0, "PK\3\4"sv, Format::Zip, "zip", isOpenedInPart},
    Mark{0, "\x28\xb5\x2f\xfd"sv, Format::Zstd, "zstd"},
    Mark{1, "\x2a\x4d\x18"sv, Format::Zstd, "zstd", isSkippable},
    Mark{0, "\x89LZO\0\r\n\x1a\n"sv, Format::Unopened, "lzop"},
    Mark{0, "MSWIM\0\0\0"sv, Format::Unopened, "wim"},
    Mark{0, "WLPWM\0\0\0"sv, Format::Unopened, "wim"},
    Mark{0, "LRZI"sv, Format::Unopened, "lrzip"},
    Mark{0, "7kSt\xa0\x31\x83\xd3"sv, Format::Unopened, "zpaq"},
    Mark{7, "**ACE**"sv, Format::Unopened, "ace"},
    Mark{20, "\xdc\xa7\xc4\xfd"sv, Format::Unopened, "zoo"},
    Mark{0, "QFI\xfb"sv, Format::Unopened, "qcow2"},
    Mark{0, "KDMV"sv, Format::Unopened, "vmdk"},
    Mark{0, "vhdxfile"sv, Format::Unopened, "vhdx"},
    Mark{8, "AI\x01"sv, Format::Unopened, "AppImage of type 1"},
};

std::optional<Container> recogniseAt(Content content, std::size_t begin)
{
    const Content rest = content.subspan(begin);
    for (const Mark& mark : marks)
        if (standsAt(rest, mark.offset, mark.bytes) && (!mark.also || mark.also(rest)))
            return Container{mark.format, mark.name, begin};
    return std::nullopt;
}

/// Where a program of ELF ends; 0 when the file does not go on there.
std::size_t endOfProgram(Content content)
{
    const bool wide = numberAt(content, 4, 1) == 2;
    const auto sections = wide ? numberAt(content, 0x28, 8) : numberAt(content, 0x20, 4);
    const auto length = numberAt(content, wide ? 0x3a : 0x2e, 2),
               count = numberAt(content, wide ? 0x3c : 0x30, 2);
    if (sections >= content.size() || length * count >= content.size() - sections)
        return 0;
    return sections + length * count;
}

} // namespace

std::optional<Container> recognise(Content content)
{
    if (auto container = recogniseAt(content, 0))
        return container;
    const std::size_t end = standsAt(content, 0,
                                     "\x7f"
                                     "ELF"sv)
                                ? endOfProgram(content)
                                : 0;
    return end ? recogniseAt(content, end) : std::nullopt;
}

std::optional<Container> recogniseStream(Content content)
{
    const auto head = numberAt(content, 0, 1) << 8 | numberAt(content, 1, 1);
    if ((head & 0x8f00) != 0x0800 || head % 31 != 0 || (head & 0x20) != 0) // RFC 1950
        return std::nullopt;
    return Container{Format::Zlib, "zlib", 0};
}

} // namespace containers
