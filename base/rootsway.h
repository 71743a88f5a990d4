#pragma once

#include <string>

#include <sys/stat.h>

namespace base {

/// True when the directory `path` is there, and nobody but root may write it or exchange it for another: no
/// directory on the way, and no link, is somebody else's. A sticky directory on the way is no harm.
bool isRootsDirectory(const std::string& path);

/// True when nobody but root can have written the regular file at `path`, or have brought it there. `status`
/// is that of the file that was opened there. In a directory that others may write, as the folders of a
/// group's settings are, it must have come without a link or a mount, and be of the group root, too: what
/// root makes there, such as logs, is of the group.
bool isRootsFile(const std::string& path, const struct stat& status);

/// True when `path` leads to a regular file that nobody but root may write, and over nothing that anybody but
/// root may exchange.
bool isRootsProgram(const std::string& path);

} // namespace base
