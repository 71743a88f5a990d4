#pragma once

#include "engine/interface.h"

#include <chrono>
#include <string>
#include <vector>

struct Options;

/// How a scan ended, besides what it counted.
struct ScanEnding
{
    std::chrono::seconds duration{0};
    bool complete = true;
    unsigned remembered = 0; ///< objects that were clean before and were not scanned again
    std::string error;       ///< why it could not go on; empty normally
    std::string leftOut;     ///< signatures that it was without; empty normally
};

/// Prints what a scan reports, as lines of text or of JSON on the standard output, and its progress on
/// the terminal behind the standard error.
class Report
{
  public:
    explicit Report(const Options& options);
    ~Report();

    /// One result callback. Beats and directories only move the progress.
    void object(const char* name, int type, int status, const char* virus, const char* remark);
    /// The end of the scan.
    void summary(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending);

    bool foundSomething() const { return foundSomething_; }
    /// The names of the first things that were found, with those of the viruses.
    const std::vector<std::string>& found() const { return found_; }
    bool hadErrors() const { return errors_; }

  private:
    void noteFound(const char* name, const char* virus);
    void objectText(const char* name, int type, int status, const char* virus, const char* remark);
    void objectJson(const char* name, int type, int status, const char* virus, const char* remark);
    void summaryText(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending);
    void summaryJson(const QS_InterfaceScanStatistics& statistics, const ScanEnding& ending);
    void notEntered(const char* name, const char* remark);
    void showProgress(const char* name);
    void hideProgress();

    const Options& options_;
    const bool progress_;
    bool progressShown_ = false;
    bool foundSomething_ = false;
    std::vector<std::string> found_;
    bool errors_ = false;
    unsigned long objects_ = 0;
    std::vector<std::string> notEntered_;
    std::string current_; ///< last name seen, for the progress
    std::chrono::steady_clock::time_point lastProgress_;
};
