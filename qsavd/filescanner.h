#pragma once

#include "protocol/protocol.h"

#include <string>

#include <clamav.h>

namespace qsavd {

/// What a worker found out about one file.
struct FileFinding
{
    Finding finding = Finding::Error;
    std::string virus;
    std::string inner; ///< names from the outside in, divided by "=>"; empty for the file itself
    std::string remark;
};

/// Scans files with one engine and the options of one session. Never calls a file clean that was not
/// wholly scanned.
class FileScanner
{
  public:
    /// Sets the session's limits on `engine`, which stays the caller's and outlives the scanner.
    FileScanner(cl_engine* engine, const Begin& options, const std::string& temporaryDirectory);

    /// Scans an open regular file from its beginning. The descriptor stays the caller's.
    FileFinding scan(int file);

  private:
    FileFinding judge(int code, const char* virus, const struct ScanTrace& trace) const;
    std::string limitRemark(std::string_view name) const;

    cl_engine* engine_;
    Begin limits_;
    cl_scan_options options_{};
};

/// Sends the library's messages to the scan that they are about instead of to standard error.
void catchLibraryMessages();

} // namespace qsavd
