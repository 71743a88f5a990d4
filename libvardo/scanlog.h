#pragma once

#include <string>

namespace vardo {

/// Opens a new log, DIRECTORY/vardo/scan-YYYYMMDD-HHMMSS[-n].log, behind LogMe, and closes the one
/// that was open. The folder is created when missing; an existing file is never written to. Messages
/// above `level` are dropped. False, with no log open, when the file cannot be made. What LogMe wrote
/// reaches the disk at CloseLog, and otherwise at the latest a second after it was written, at the
/// next message.
bool openScanLog(const std::string& directory, unsigned level);

} // namespace vardo
