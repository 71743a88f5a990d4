#include "libvardo/filesystem.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace vardo {

namespace {

// Those that linux/magic.h does not name stand as numbers.
constexpr std::array<std::uint32_t, 26> pseudoFileSystems{
    PROC_SUPER_MAGIC,  SYSFS_MAGIC,    DEVPTS_SUPER_MAGIC, CGROUP_SUPER_MAGIC,   CGROUP2_SUPER_MAGIC,
    DEBUGFS_MAGIC,     TRACEFS_MAGIC,  SECURITYFS_MAGIC,   SELINUX_MAGIC,        SMACK_MAGIC,
    PSTOREFS_MAGIC,    EFIVARFS_MAGIC, BPF_FS_MAGIC,       AUTOFS_SUPER_MAGIC,   BINFMTFS_MAGIC,
    NSFS_MAGIC,        PIPEFS_MAGIC,   SOCKFS_MAGIC,       OPENPROM_SUPER_MAGIC, BINDERFS_SUPER_MAGIC,
    XENFS_SUPER_MAGIC,
    0x19800202, // mqueue
    0x62656570, // configfs
    0x65735543, // fusectl
    0x67596969, // rpc_pipefs
    0x6e667364, // nfsd
};

} // namespace

bool isPseudoFileSystem(int fd)
{
    struct statfs status = {};
    if (::fstatfs(fd, &status) != 0)
        return false;
    const auto type = static_cast<std::uint32_t>(status.f_type);
    return std::find(pseudoFileSystems.begin(), pseudoFileSystems.end(), type) != pseudoFileSystems.end();
}

std::uint64_t mountOf(int fd, const struct stat& status)
{
    struct statx told = {};
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &told) == 0 && (told.stx_mask & STATX_MNT_ID))
        return told.stx_mnt_id;
    return status.st_dev;
}

} // namespace vardo
