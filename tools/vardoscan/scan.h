#pragma once

#include "engine/interface.h"
#include "tools/vardoscan/exitcode.h"

#include <string>
#include <vector>

struct Options;

/// What came of a scan.
struct ScanResult
{
    enum class End { Failed, Stopped, Complete };

    int exitCode = SomethingWrong;
    End end = End::Failed;
    QS_InterfaceScanStatistics statistics = {};
    unsigned missing = 0;           ///< paths to scan that are not there
    bool unlogged = false;          ///< the log that was wanted is missing or not whole
    std::string error;              ///< why it failed
    std::string logLocation;        ///< the directory of its log; empty without one
    std::string logFile;            ///< its log; empty without one
    std::vector<std::string> found; ///< the first names of what is infected or suspicious, with the viruses

    unsigned unscanned() const { return statistics.scScanError + missing; }
};

/// The file that the option names, else the user's own, else the installation's.
void chooseConfiguration(Options& options);

/// Scans as the options say, with reports on the standard output and in the log. Errors are told on the
/// standard error too.
ScanResult scan(Options& options);

/// Handler of signals that ask for the end: the scan that runs stops in order, and no other begins.
void interrupt(int signal);
bool wasInterrupted();

/// Prints an error; SomethingWrong.
int fail(const std::string& text);

/// False, once told, when something that was printed has got lost.
bool outputIsWhole();
