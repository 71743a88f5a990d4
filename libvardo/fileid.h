#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/stat.h>

namespace vardo {

/// Tells one state of one file from every other: which inode, and whether it was written to, renamed
/// or given other rights since. Times in nanoseconds since the epoch.
struct FileId
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0;

    bool operator==(const FileId&) const = default;

    /// True when `other` is this inode with this content. Unlike ==, a rename or a new mode in between
    /// makes no difference.
    bool sameContent(const FileId& other) const
    {
        return device == other.device && inode == other.inode && size == other.size &&
               modified == other.modified;
    }
};

/// The identity that `status` describes.
inline FileId fileId(const struct stat& status)
{
    const auto nanoseconds = [](const timespec& time) {
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    };
    return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

/// For unordered containers keyed by FileId.
struct FileIdHash
{
    std::size_t operator()(const FileId& id) const noexcept
    {
        return static_cast<std::size_t>((id.inode * 0x9E3779B97F4A7C15u) ^ (id.device << 32) ^
                                        static_cast<std::uint64_t>(id.changed));
    }
};

} // namespace vardo
