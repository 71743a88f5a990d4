#include "cleanstore/blockdevice.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <linux/btrfs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

namespace cleanstore {

namespace fs = std::filesystem;

namespace {

constexpr int deepest = 16; // devices made of devices
constexpr std::array<std::string_view, 7> diskNames{"sd", "vd", "xvd", "hd", "nvme", "mmcblk", "pmem"};
constexpr std::array<std::string_view, 3> outsideBuses{"/usb", "/fw", "/session"}; // the last is iSCSI's

bool isBuiltIn(const fs::path& device, int depth);

std::string wordIn(const fs::path& file)
{
    std::string word;
    std::ifstream(file) >> word;
    return word;
}

bool isSysfs()
{
    struct statfs status = {};
    return ::statfs("/sys", &status) == 0 && static_cast<std::uint32_t>(status.f_type) == SYSFS_MAGIC;
}

/// True when there are some in the directory and each is built in.
bool areBuiltIn(const fs::path& directory, int depth)
{
    std::error_code failure;
    bool some = false;
    for (const auto& entry : fs::directory_iterator(directory, failure)) {
        if (!isBuiltIn(entry.path(), depth))
            return false;
        some = true;
    }
    return some && !failure;
}

/// A drive that is reached by several ways at once; here all of them must lead through the machine's own bus.
bool isOwnDrive(const fs::path& subsystem)
{
    std::error_code failure;
    bool some = false;
    for (const auto& entry : fs::directory_iterator(subsystem, failure)) {
        const std::string transport = wordIn(entry.path() / "transport");
        if (!transport.empty() && transport != "pcie")
            return false;
        some = some || !transport.empty();
    }
    return some && !failure;
}

/// True when the disk itself, or what it is plugged into, can be taken away.
bool comesAndGoes(const fs::path& disk)
{
    const std::string place = disk.string();
    const auto leadsOver = [&place](std::string_view bus) { return place.find(bus) != place.npos; };
    if (std::any_of(outsideBuses.begin(), outsideBuses.end(), leadsOver) ||
        wordIn(disk / "device/type") == "SD")
        return true;
    for (fs::path up = disk; up.has_relative_path(); up = up.parent_path())
        if (const std::string told = wordIn(up / "removable"); told == "1" || told == "removable")
            return true;
    return false;
}

bool isBuiltIn(const fs::path& device, int depth)
{
    std::error_code failure;
    const fs::path place = fs::canonical(device, failure);
    if (failure || depth == deepest)
        return false;
    const fs::path disk = fs::exists(place / "partition", failure) ? place.parent_path() : place;
    if (disk.string().find("/virtual/nvme-subsystem/") != std::string::npos)
        return isOwnDrive(disk.parent_path());
    if (disk.string().find("/virtual/") != std::string::npos)
        return areBuiltIn(disk / "slaves", depth + 1);
    const std::string name = disk.filename();
    return std::any_of(diskNames.begin(), diskNames.end(),
                       [&name](std::string_view known) { return name.starts_with(known); }) &&
           !comesAndGoes(disk);
}

} // namespace

bool isBuiltInDisk(dev_t device)
{
    const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
    return isSysfs() && isBuiltIn("/sys/dev/block/" + number, 0);
}

bool liesOnBuiltInDisks(int fd)
{
    btrfs_ioctl_fs_info_args info = {};
    if (!isSysfs() || ::ioctl(fd, BTRFS_IOC_FS_INFO, &info) != 0)
        return false;
    std::string id;
    for (std::size_t i = 0; i < sizeof info.fsid; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", info.fsid[i]);
        id += (i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "") + std::string(digits);
    }
    return areBuiltIn("/sys/fs/btrfs/" + id + "/devices", 0);
}

} // namespace cleanstore
