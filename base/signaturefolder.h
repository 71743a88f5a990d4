#pragma once

#include <string>

#include <unistd.h>

/// Where a set of signatures is read when an update could not exchange the whole directory, as on a mount
/// point: it puts all of the new set into a directory inside, then the marker, then file by file into place.
namespace base {

inline constexpr char nextSet[] = ".next";
inline constexpr char installMarker[] = ".installing";

/// The directory to read the set of `directory` from: itself, or where the new set is whole while it is put
/// in place. It matters after a power failure, too; the next update makes an end of it.
inline std::string signatureFolder(const std::string& directory)
{
    const bool marked = ::access((directory + '/' + installMarker).c_str(), F_OK) == 0;
    return marked ? directory + '/' + nextSet : directory;
}

} // namespace base
