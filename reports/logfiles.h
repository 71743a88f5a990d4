#pragma once

#include "base/uniquefd.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// Log files lie in folders that a whole group writes to. A link to a regular file is listed and read like
/// the file, and deleted as a link; a link in the place of the folder of the scan logs counts when root or
/// the caller made it.
///
/// `name` is one name in the open directory `folder`, or a path with AT_FDCWD as `folder`.
namespace logfiles {

/// What a list tells of a log.
struct File
{
    std::string name; ///< bytes
    time_t modified;
    off_t size; ///< in bytes
};

/// Opens the folder of the scan logs below `location`, to be used by the functions below.
base::UniqueFd openScanFolder(const std::string& location);

/// The logs in the folder; nothing when it cannot be read.
std::optional<std::vector<File>> list(int folder);

/// What is there by that name, or behind the link.
std::optional<File> find(int folder, const std::string& name);

/// Opens a log for reading; holds nothing when there is none.
base::UniqueFd open(int folder, const std::string& name);

/// Whether the folder lets its files be deleted.
bool mayDelete(int folder);

/// Deletes what is there by that name, if that can be done.
void remove(int folder, const std::string& name);

} // namespace logfiles
