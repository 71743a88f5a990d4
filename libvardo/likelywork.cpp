#include "libvardo/likelywork.h"

#include "libvardo/pathfilter.h"

namespace vardo {

namespace {

constexpr std::uint64_t fewBytes = 64u << 10; // in whatever order these are scanned
constexpr std::uint64_t usualRatio = 4;

} // namespace

std::uint64_t likelyWork(std::string_view name, std::uint64_t size)
{
    static const ExtensionFilter packed(ExtensionFilter::Sense::Only,
                                        "7z apk bz2 cab deb docx gem gz jar lz lz4 lzma msi nupkg odt pptx "
                                        "rar rpm snap squashfs tgz txz war whl xlsx xpi xz zip zst");
    return size > fewBytes && packed.passes(name) ? size * usualRatio : size;
}

} // namespace vardo
