#pragma once

#include "base/result.h"

#include <string>
#include <string_view>

#include <sys/stat.h>

namespace vardo {

/// The whole of a regular file of at most `most` bytes, and what the file is.
base::Result<std::string> readRegularFile(const std::string& path, std::size_t most, struct stat& status);

/// Puts `text` in the place of the file at `path` in one step, keeping its owner and mode where that is
/// allowed; a new file gets mode 0660. False, with the file as it was, on any failure; a symbolic link or
/// anything else that is not a regular file is never replaced.
bool replaceFile(const std::string& path, std::string_view text);

} // namespace vardo
