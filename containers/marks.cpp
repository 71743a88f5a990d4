#include "containers/marks.h"

#include "containers/extent.h"
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

bool isStuffIt(Content content)
{
    return standsAt(content, 10, "rLau"sv);
}

bool isSkippable(Content content)
{
    return (numberAt(content, 0, 1) & 0xf0) == 0x50;
}

/// The size of the blocks, and the mark of the first one.
bool isBzip2(Content content)
{
    const auto size = numberAt(content, 3, 1);
    return size >= '1' && size <= '9' && standsAt(content, 4, "1AY&SY"sv);
}

bool isCutTar(Content content)
{
    return extentOfTar(content).cutShort;
}

bool isMoreThanTar(Content content)
{
    return extentOfTar(content).rest != 0;
}

bool isCutCpio(Content content)
{
    return extentOfCpio(content).cutShort;
}

bool isMoreThanCpio(Content content)
{
    return extentOfCpio(content).rest != 0;
}

/// An image, and not the code that starts one.
bool isImage(Content content)
{
    return content.size() >= 64 << 10;
}

/// The first version or the second, with blocks of up to 64 KB.
bool isExt(Content content)
{
    return isImage(content) && numberAt(content, 1100, 4) <= 1 && numberAt(content, 1048, 4) <= 6;
}

/// A table of four partitions, the first of which lies in the image; not one that is a disk for CDs, too.
bool isPartitioned(Content content)
{
    if (!isImage(content) || standsAt(content, 32769, "CD001"sv))
        return false;
    for (std::uint64_t entry = 446; entry < 510; entry += 16)
        if ((numberAt(content, entry, 1) & 0x7f) != 0)
            return false;
    const auto start = numberAt(content, 454, 4), sectors = numberAt(content, 458, 4);
    return numberAt(content, 450, 1) != 0 && start != 0 && sectors != 0 && start < content.size() / 512;
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
    Mark{0, "RZIP\2"sv, Format::Unopened, "rzip"},
    Mark{0, "\xff\6\0\0sNaPpY"sv, Format::Unopened, "snappy"},
    Mark{0, "ALZ\1"sv, Format::Unopened, "alz"},
    Mark{0, "EGGA\0\1"sv, Format::Unopened, "egg"},
    Mark{0, "StuffIt (c)"sv, Format::Unopened, "StuffIt"},
    Mark{0, "SIT!"sv, Format::Unopened, "StuffIt", isStuffIt},
    Mark{0, "7kSt\xa0\x31\x83\xd3"sv, Format::Unopened, "zpaq"},
    Mark{7, "**ACE**"sv, Format::Unopened, "ace"},
    Mark{20, "\xdc\xa7\xc4\xfd"sv, Format::Unopened, "zoo"},
    Mark{257, "ustar"sv, Format::CutShort, "tar", isCutTar},
    Mark{257, "ustar"sv, Format::TarRest, "tar", isMoreThanTar},
    Mark{0, "07070"sv, Format::CutShort, "cpio", isCutCpio},
    Mark{0, "07070"sv, Format::CpioRest, "cpio", isMoreThanCpio},
    Mark{32769, "CD001"sv, Format::CutShort, "ISO 9660", isIsoCutShort},
    Mark{0, "QFI\xfb"sv, Format::Unopened, "qcow2"},
    Mark{0, "KDMV"sv, Format::Unopened, "vmdk"},
    Mark{0, "vhdxfile"sv, Format::Unopened, "vhdx"},
    Mark{0, "conectix"sv, Format::Unopened, "vhd"},
    Mark{0, "QED\0"sv, Format::Unopened, "qed"},
    Mark{0, "COWD\1\0\0\0"sv, Format::Unopened, "vmdk"},
    Mark{0, "WithoutFreeSpace"sv, Format::Unopened, "hdd"},
    Mark{0, "WithouFreSpacExt"sv, Format::Unopened, "hdd"},
    Mark{0, "LUKS\xba\xbe"sv, Format::Unopened, "LUKS"},
    Mark{0x40, "\x7f\x10\xda\xbe"sv, Format::Unopened, "vdi"},
    Mark{54, "FAT1"sv, Format::Unopened, "FAT", isImage},
    Mark{82, "FAT32"sv, Format::Unopened, "FAT", isImage},
    Mark{3, "NTFS    "sv, Format::Unopened, "NTFS", isImage},
    Mark{3, "EXFAT   "sv, Format::Unopened, "exFAT", isImage},
    Mark{510, "\x55\xaa"sv, Format::Unopened, "disk image", isPartitioned},
    Mark{1080, "\x53\xef"sv, Format::Unopened, "ext", isExt},
    Mark{1024, "\x10\x20\xf5\xf2"sv, Format::Unopened, "F2FS"},
    Mark{32768, "JFS1"sv, Format::Unopened, "JFS"},
    Mark{65588, "ReIsEr"sv, Format::Unopened, "ReiserFS"},
    Mark{0, "-rom1fs-"sv, Format::Unopened, "romfs"},
    Mark{0, "XFSB\0\0"sv, Format::Unopened, "XFS"},
    Mark{0x10040, "_BHRfS_M"sv, Format::Unopened, "btrfs"},
    Mark{0, "\x45\x3d\xcd\x28"sv, Format::Unopened, "cramfs"},
    Mark{1024, "\xe2\xe1\xf5\xe0"sv, Format::Unopened, "erofs"},
    Mark{8, "AI\x01"sv, Format::Unopened, "AppImage of type 1"},
};

/// Besides those, where the library does not look for them: behind something else.
constexpr std::array attached{
    Mark{0, "BZh"sv, Format::Attached, "bzip2", isBzip2},
    Mark{0,
         "\xfd"
         "7zXZ\0"sv,
         Format::Attached, "xz"},
    Mark{257, "ustar"sv, Format::Attached, "tar"},
    Mark{0, "07070"sv, Format::Attached, "cpio"},
};

std::optional<Container> find(Content content, std::size_t begin, std::span<const Mark> among)
{
    const Content rest = content.subspan(begin);
    for (const Mark& mark : among)
        if (standsAt(rest, mark.offset, mark.bytes) && (!mark.also || mark.also(rest)))
            return Container{mark.format, mark.name, begin};
    return std::nullopt;
}

} // namespace

std::optional<Container> markedAt(Content content, std::size_t begin)
{
    return find(content, begin, marks);
}

std::optional<Container> markedBehind(Content content, std::size_t begin)
{
    const auto container = find(content, begin, attached);
    return container ? container : markedAt(content, begin);
}

} // namespace containers
