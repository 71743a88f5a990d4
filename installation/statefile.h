#pragma once

#include "base/uniquefd.h"

/// Opens one of the window's own files in its configuration directory, or creates it for the whole group.
/// Members of the group can write there, so what they may have planted in the file's or the directory's place
/// is refused: links, hard links, and what is no regular file. `flags` are those of open(). Holds nothing on
/// failure.
base::UniqueFd openStateFile(const char* path, int flags);
