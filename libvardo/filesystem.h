#pragma once

#include <cstdint>

struct stat;

namespace vardo {

/// True when `fd` (O_PATH will do) lies on a file system that shows kernel state instead of files, such
/// as proc or sysfs. Reading there finds nothing, and may block or have effects.
bool isPseudoFileSystem(int fd);

/// Tells what is mounted at one place from what is mounted at others: the kernel's number of the mount, or,
/// from one that does not tell, the device. `status` is that of `fd`, a directory: on some file systems files
/// have other devices than their directory.
std::uint64_t mountOf(int fd, const struct stat& status);

} // namespace vardo
