#pragma once

#include "engine/interface.h"

#include <chrono>
#include <string>
#include <vector>

struct Options;

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
    void summary(const QS_InterfaceScanStatistics& statistics, std::chrono::seconds duration, bool complete);

    bool foundSomething() const { return found_; }
    bool hadErrors() const { return errors_; }

  private:
    void objectText(const char* name, int type, int status, const char* virus, const char* remark);
    void objectJson(const char* name, int type, int status, const char* virus, const char* remark);
    void summaryText(const QS_InterfaceScanStatistics& statistics, std::chrono::seconds duration,
                     bool complete);
    void summaryJson(const QS_InterfaceScanStatistics& statistics, std::chrono::seconds duration,
                     bool complete);
    void notEntered(const char* name, const char* remark);
    void showProgress(const char* name);
    void hideProgress();

    const Options& options_;
    const bool progress_;
    bool progressShown_ = false;
    bool found_ = false;
    bool errors_ = false;
    unsigned long objects_ = 0;
    std::vector<std::string> notEntered_;
    std::string current_; ///< last name seen, for the progress
    std::chrono::steady_clock::time_point lastProgress_;
};
