#include "cleanstore/filesystems.h"

#include "cleanstore/blockdevice.h"

#include <charconv>
#include <cstring>
#include <fstream>
#include <string>

#include <linux/magic.h>
#include <unistd.h>

namespace cleanstore {

namespace {

constexpr std::uint32_t xfsMagic = 0x58465342; // linux/magic.h does not name it

std::int64_t nanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// The kernel's number of this start of the machine; zeros where it does not tell.
std::array<std::uint64_t, 2> bootId()
{
    std::string text;
    std::ifstream("/proc/sys/kernel/random/boot_id") >> text;
    std::erase(text, '-');
    std::array<std::uint64_t, 2> id{};
    for (std::size_t half = 0; half < id.size() && text.size() == 32; ++half)
        std::from_chars(&text[half * 16], &text[half * 16] + 16, id[half], 16);
    return id;
}

bool isBelieved(std::uint32_t type, int fd, dev_t device)
{
    switch (type) {
    case EXT4_SUPER_MAGIC:
    case xfsMagic:
    case F2FS_SUPER_MAGIC:
        return isBuiltInDisk(device);
    case BTRFS_SUPER_MAGIC:
        return liesOnBuiltInDisks(fd);
    default:
        return type == TMPFS_MAGIC;
    }
}

} // namespace

std::optional<FileSystem> FileSystems::of(int fd, const struct statfs& told, const struct stat& status)
{
    const auto type = static_cast<std::uint32_t>(told.f_type);
    FileSystem system;
    system.device = status.st_dev;
    static_assert(sizeof told.f_fsid == sizeof system.id[1]);
    std::memcpy(&system.id[1], &told.f_fsid, sizeof system.id[1]);
    if (system.id[1] == 0) // one like many
        return std::nullopt;
    system.id[0] = type;
    system.id[2] = status.st_dev;
    if (type == TMPFS_MAGIC) {
        static const std::array<std::uint64_t, 2> boot = bootId();
        system.id[3] = boot[0];
        system.id[4] = boot[1];
    }
    // Written by way of a mapping, a file on tmpfs keeps its times. On xfs and f2fs whoever may write two
    // files can exchange parts of them (XFS_IOC_SWAPEXT, F2FS_IOC_MOVE_RANGE), which leaves the times too.
    system.ownFilesOnly = type == TMPFS_MAGIC || type == xfsMagic || type == F2FS_SUPER_MAGIC;
    auto known = known_.find(system.id);
    if (known == known_.end())
        known = known_.emplace(system.id, Known{isBelieved(type, fd, status.st_dev), true}).first;
    if (status.st_ctim.tv_nsec != 0)
        known->second.wholeSeconds = false;
    system.wholeSeconds = known->second.wholeSeconds;
    return known->second.believed ? std::optional(system) : std::nullopt;
}

std::optional<FileKey> keyOf(const FileSystem& system, const struct stat& status)
{
    const bool own =
        (status.st_uid == 0 || status.st_uid == ::geteuid()) && !(status.st_mode & (S_IWGRP | S_IWOTH));
    // Where times are whole seconds, two changes may have the same. Elsewhere they may come from what made
    // the file system, as with the image of a machine.
    if (status.st_dev != system.device || !S_ISREG(status.st_mode) ||
        (status.st_ctim.tv_nsec == 0 && system.wholeSeconds) || (system.ownFilesOnly && !own))
        return std::nullopt;
    return FileKey{system.id, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                   nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

} // namespace cleanstore
