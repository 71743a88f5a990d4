#pragma once

#include "base/uniquefd.h"

#include <string>

namespace jobs {

/// Opens the directory that the file `path` is in. For root, no link is followed in a directory that others
/// may write to. Holds nothing on failure, with errno set.
base::UniqueFd openDirectoryOf(const std::string& path);

/// What stands behind the last slash.
std::string fileNameOf(const std::string& path);

/// True for a directory of root's that nobody else may write to.
bool isRootsAlone(int directory);

} // namespace jobs
