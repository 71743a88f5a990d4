#pragma once

/// Stands after each of the four fields of a record; the record ends with a newline. Nothing is escaped.
inline constexpr char quarantineSeparator[] = "~#^|~";

/// Appends the record of a file that the engine has just moved into the quarantine directory: its name
/// there, the time of its last access, its size and `virus`. `objName` is its old path, whose last component
/// leads to the new name. False when the record file can't be written or the quarantined file isn't found.
bool appendQuarantineRecord(const char* objName, const char* virus);
