#pragma once

namespace vardo {

/// True when `fd` (O_PATH will do) lies on a file system that shows kernel state instead of files, such
/// as proc or sysfs. Reading there finds nothing, and may block or have effects.
bool isPseudoFileSystem(int fd);

} // namespace vardo
