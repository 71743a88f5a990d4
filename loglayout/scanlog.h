#pragma once

#include "engine/vardo.h"

#include <optional>
#include <string>

/// The layout of a scan log: what everyone who scans writes into the log that Vardo::LogInit has opened,
/// through LogMe. Without an open log nothing is written.
namespace scanlog {

/// The options that the head of a log tells, as one scan has them.
struct Configuration
{
    unsigned int scanOpts = 0;
    unsigned int action = 0;
    unsigned int logLevel = 0;
    qs_fString actData = {};
    qs_lString extensions = {};
    const char* excludeDirs = nullptr; ///< Owned by the engine.
    unsigned char maxDepth = 0;
    unsigned long maxSize = 0;
};

/// Reads what is in force of them; nothing if the engine refuses one.
std::optional<Configuration> readConfiguration(Vardo& scan);

void writeBanner();
void writeConfiguration(const Configuration& configuration);
void writeStatistics(const QS_InterfaceScanStatistics& stats);

/// The lines that stand for the configuration and the statistics when a scan has none, without their ends.
/// The engine's text follows the errors.
inline constexpr char memoryScanStarted[] = "Memory Scan started";
inline constexpr char memoryScanDone[] = "Memory scan completed successfully";
inline constexpr char cancelled[] = "Scan cancelled before completion";
inline constexpr char scanError[] = "SCAN ERROR: ";
inline constexpr char memoryScanError[] = "SCAN ERR: ";
void writeLine(const char* text);

/// The "infected" figure of every counter, dialog and log: the objects on which an action succeeded. The
/// engine's count of infected objects is not it, so a scan that only logs has 0.
unsigned int infectedCount(const QS_InterfaceScanStatistics& stats);
/// The viruses found, as they are shown: never more than infectedCount.
unsigned int virusCount(const QS_InterfaceScanStatistics& stats);

/// Whether a status says anything: it has one of the SCANSTAT_ bits.
bool hasStatus(int status);
/// The word for the first of the SCANSTAT_ bits that is set, in the order of the words.
const char* statusWord(int status);
/// Whether the object is a running process.
bool isProcess(int objectType);

/// The line of one object, with its end. `virus` and `remark` may be null.
std::string objectLine(const char* name, int type, int status, const char* virus, const char* remark);

void writeDirectory(const char* name);
/// Writes an object's line: what is clean or failed is only logged with all the rest.
void writeObject(const std::string& line, int status);
/// Writes that the user may not know the status of an object in this file.
void writeAccessDenied(const std::string& file, int status);

} // namespace scanlog
