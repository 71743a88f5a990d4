#pragma once

#include "base/uniquefd.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// What root does with files of an update: names in directories that are open, links never followed.
/// Functions that return bool leave the reason for false in errno.
namespace updater {

/// Asked during long work; true ends it.
using Interrupted = std::function<bool()>;

base::UniqueFd openFolder(int directory, const std::string& name);

/// Makes the directory if there is none, and opens it. `mode` counts whatever the umask is.
base::UniqueFd makeFolder(int directory, const std::string& name, unsigned mode);

/// True when nobody but root can change what lies in the open `directory`.
bool isRootsAlone(int directory);

/// The names of all that lies in the open `directory`, sorted.
std::vector<std::string> namesIn(int directory);

/// True when `name` is a regular file.
bool isFile(int directory, const std::string& name);

/// Copies the regular file `name` of `from`, at most `most` bytes, to `to`, readable by all, and waits until
/// it is on the disk. What is there under that name goes.
bool copyFile(int from, const std::string& name, int to, std::uint64_t most, const Interrupted& interrupted);

/// The same by another name for the same file, or a copy where that is not possible.
bool linkOrCopy(int from, const std::string& name, int to, const Interrupted& interrupted);

/// Deletes the file or directory `name` with all that is in it. True also when there was nothing.
bool removeTree(int directory, const std::string& name);

/// The whole of a small regular file; empty when there is none.
std::string readSmallFile(int directory, const std::string& name);

/// Puts `text` in the place of a small file at one blow.
bool writeSmallFile(int directory, const std::string& name, const std::string& text);

} // namespace updater
