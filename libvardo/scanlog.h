#pragma once

#include <string>

namespace vardo {

/// Opens a new log, DIRECTORY/vardo/scan-YYYYMMDD-HHMMSS[xNNN].log, behind LogMe, and closes the one
/// that was open. The folder is created when missing; an existing file is never written to. False, with
/// no log open, when the file cannot be made.
///
/// Messages above `level` (0 counts as LOGLEVEL_MINIMUM) are dropped, all others are in the file when LogMe
/// returns. Callable from any thread, as LogMe and CloseLog are.
bool openScanLog(const std::string& directory, unsigned level);

/// Makes the folder of the logs in `directory`, when it is missing, and marks it as the one that root chose.
void markLogFolder(const std::string& directory);

/// Why the log that was closed last is not whole; empty if it is, or when this was asked before.
std::string takeLogFailure();

} // namespace vardo
