#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <sys/types.h>

namespace runasroot {

/// Opens the regular file `path` for changing its attributes, creating it with `create`. Every
/// directory on the way is opened without following links, and a file with a second name is refused:
/// the folder is writable for the group, so either could lead to somebody else's file.
base::Result<base::UniqueFd> openPlainFile(const char* path, bool create = false);

/// The three acts on such a file; the error's text names the file and the reason.
base::Result<bool> allowWriting(const char* path);
base::Result<bool> touch(const char* path);
base::Result<bool> giveTo(const char* path, uid_t user, gid_t group);

} // namespace runasroot
