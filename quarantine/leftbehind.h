#pragma once

#include "quarantine/restorenotes.h"

namespace quarantine {

/// True when by all appearances the file of a note is where it was as well: a process was killed between
/// copying it and removing it, or it came back. Only notes that the caller made himself are looked at, since
/// others could lead anywhere.
bool isLeftBehind(const StoredNote& stored);

/// Removes such a file from where it was if it never left: it was there before the note, and has the very
/// content that is noted and in quarantine. Another process that is at it keeps its file. The result tells
/// whether the file went.
bool removeLeftBehind(int quarantine, const RestoreNotes& notes, const StoredNote& stored);

} // namespace quarantine
