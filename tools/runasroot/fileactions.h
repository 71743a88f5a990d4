#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <sys/types.h>

namespace runasroot {

/// Opens the regular file `path` for changing its attributes, creating it with `create`. Every
/// directory on the way is opened without following links, and a file with a second name is refused:
/// the folder is writable for the group, so either could lead to somebody else's file.
base::Result<base::UniqueFd> openPlainFile(const char* path, bool create = false);

/// Makes such a file writable for everybody, if it is the `owner`'s and, if that is root, no secret: a member
/// may have moved it there out of a folder of his own. The error's text names the file and the reason.
base::Result<bool> allowWriting(const char* path, uid_t owner);

/// Renews the times of such a file, creating it when missing.
base::Result<bool> touch(const char* path);

} // namespace runasroot
