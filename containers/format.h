#pragma once

#include <cstddef>
#include <string_view>

namespace containers {

/// Containers that the scanning library leaves closed, or of which it may leave out a part.
enum class Format {
    Ar,
    Attached, ///< one that the library opens, but not where it lies
    Bzip2,
    Cab,
    Compress,
    CpioRest, ///< what follows a whole cpio archive
    Gzip,
    Lha,
    Lz4,
    Lzip,
    Lzma,
    Rar,
    Rar5,
    Rpm,
    SevenZip,
    Squashfs,
    TarRest, ///< what follows a whole tar archive
    Warc,
    Xz,
    Zip,
    ZipStream, ///< without its directory
    Zlib,
    Zstd,
    CutShort, ///< one that the library takes for whole
    Unopened, ///< known by its mark, and nobody opens it
};

/// Where in a file which container begins.
struct Container
{
    Format format = Format::Unopened;
    std::string_view name; ///< short, for people
    std::size_t begin = 0; ///< bytes; what stands before is a program, for instance
};

} // namespace containers
