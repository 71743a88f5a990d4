#pragma once

#include <string>

#include <sys/types.h>

namespace qsavd {

/// Lays an empty file system in memory over `directory`, for this process and its children alone, which
/// nobody else can fill; it goes with the last of them. It belongs to that user and group, and takes
/// `kilobytes`, or half of the memory when that is 0. Must be called while the process has one thread;
/// whoever is not root enters a user namespace for it, and has no rights there any more when this returns.
/// False when it is not allowed: then everything is as before.
bool mountOwn(const std::string& directory, uid_t user, gid_t group, unsigned kilobytes);

} // namespace qsavd
