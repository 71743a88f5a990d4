#pragma once

#include <cstddef>
#include <string_view>

namespace containers {

/// Containers that the scanning library leaves closed, or of which it may leave out a part.
enum class Format {
    Ar,
    Bzip2,
    Cab,
    Compress,
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
    Warc,
    Xz,
    Zip,
    ZipStream, ///< without its directory
    Zlib,
    Zstd,
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
