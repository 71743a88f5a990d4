#pragma once

#include "base/uniquefd.h"

#include <string>

#include <fcntl.h>

namespace quarantine {

/// Opens a quarantine directory, O_PATH or for reading. A link in its place is followed if it is root's: so
/// root may put the quarantine elsewhere, and nobody else. Holds nothing on failure, with errno set.
base::UniqueFd openStore(std::string path, int access = O_RDONLY);

/// True when there is surely no such file in the directory; a failure to look is none.
bool isGone(int directory, const std::string& name);

/// The name number `number` of the series under which files of one name are kept: "STEM" + `end` for a
/// negative one, then "STEM-0" + `end`, "STEM-1" + `end` and so on, `stem` cut where the whole would be too
/// long for a file name.
std::string seriesName(const std::string& stem, int number, const std::string& end = {});

} // namespace quarantine
