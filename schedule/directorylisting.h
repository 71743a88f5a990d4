#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One entry of a directory. All but the name is that of what a link leads to.
struct DirectoryEntry
{
    enum class Kind : unsigned char { Directory, File, Special };

    std::string name; ///< bytes, as the file system has them
    Kind kind = Kind::Special;
    bool symbolicLink = false;
    bool readable = true;   ///< of a directory: whether the caller may list it
    std::int64_t size = -1; ///< of a file, in bytes; -1 when it cannot be told
};

/// The entries of the directory at `path`, in no order, without "." and "..". None when it is gone, cannot be
/// read or has become a link. Nothing but the directory is opened; blocks as long as its file system does.
std::vector<DirectoryEntry> listDirectory(const std::string& path);
