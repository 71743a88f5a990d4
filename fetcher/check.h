#pragma once

#include <string>
#include <vector>

namespace fetcher {

/// Verifies the database `files` of the working directory and loads them as a scan would, and tells the end.
/// What a signature does not cover is verified too: that a file is the database that its name says, and that
/// it has all its parts.
void check(const std::vector<std::string>& files);

} // namespace fetcher
