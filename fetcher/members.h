#pragma once

#include <string>

namespace fetcher {

/// Looks through the archive in the database `file`, a file of the working directory. Empty when it is the
/// archive of the database `name` with all the members that its signed list names, and no others; else what
/// is wrong.
std::string wrongMembers(const std::string& file, const std::string& name);

} // namespace fetcher
