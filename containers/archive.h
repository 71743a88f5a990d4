#pragma once

#include "containers/opener.h"

#include <optional>

namespace containers {

/// Whether this format is one that openArchive() knows.
bool isArchive(Format format);

/// Opens by libarchive, which is let try this one format and no other.
Opened openArchive(Format format, Content content, const Workshop& workshop);

/// How many regular members it has that hold more than `larger` bytes; none when that cannot be told.
std::optional<std::size_t> countArchiveMembers(Format format, Content content, std::uint64_t larger);

} // namespace containers
