#pragma once

#include "engine/vardo.h"

#include <string>

struct Options;

/// The directory that the engine's options name for logs.
std::string logLocation(Vardo& engine);

/// Opens the scan log that the engine's options name and writes its head. False, with no log, when the file
/// cannot be made; the other functions do nothing then.
bool startLog(Vardo& engine, const Options& options);

/// The path of the log that is open; empty without one.
std::string openLogFile();

/// Writes the line of one result callback; a beat has none.
void logObject(const char* name, int type, int status, const char* virus, const char* remark);

/// Writes how a scan with this result of the engine went, and closes the log. False when the log has not all
/// of it: the engine's ScanError() tells why.
bool endLog(Vardo& engine, const Options& options, int result);
