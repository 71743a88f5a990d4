#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include <sys/stat.h>
#include <sys/vfs.h>

namespace cleanstore {

/// One state of one file, told from every other state of every file for ever. Times in nanoseconds since the
/// epoch.
struct FileKey
{
    std::array<std::uint64_t, 5> fileSystem{};
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0;
};

/// A file system whose change times can be believed: local, written by this machine's kernel alone.
struct FileSystem
{
    std::array<std::uint64_t, 5>
        id{};                  ///< kind, its own number, device; and the boot where nothing outlives it
    std::uint64_t device = 0;  ///< of the files on it
    bool ownFilesOnly = false; ///< whoever may write a file there can do so without a change of times
    bool wholeSeconds = true;  ///< its times may be no finer
};

/// Tells which file systems can be believed. Those are ext4, xfs, btrfs and f2fs on disks of the machine, and
/// tmpfs. One whose times are finer than seconds is known as such once it has shown it. For one thread.
class FileSystems
{
  public:
    /// That on which `fd` is open for reading, of which fstatfs and fstat told this; none when it cannot be
    /// believed. As long as `fd` is open, nothing else takes its device number.
    std::optional<FileSystem> of(int fd, const struct statfs& told, const struct stat& status);

  private:
    struct Known
    {
        bool believed = false;
        bool wholeSeconds = true;
    };
    std::map<std::array<std::uint64_t, 5>, Known> known_;
};

/// The key of a file with this status on `system`; none when a change of it might leave no trace.
std::optional<FileKey> keyOf(const FileSystem& system, const struct stat& status);

} // namespace cleanstore
