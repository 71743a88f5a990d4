#pragma once

#include "protocol/protocol.h"

#include <string>
#include <string_view>

#include <clamav.h>

namespace qsavd {

/// What a worker found out about one file.
struct FileFinding
{
    Finding finding = Finding::Error;
    std::string virus;
    std::string inner; ///< names from the outside in, divided by innerSeparator; empty for the file itself
    std::string remark;
};

/// Stands between the names of what is inside each other.
inline constexpr std::string_view innerSeparator = "=>";

/// Bytes that the scanning library passes over unseen.
inline constexpr std::uint64_t smallestScanned = 5;

/// Why a file was not wholly scanned, for the name that the scanning library has for a limit.
std::string limitRemark(const Begin& limits, std::string_view name);

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
    struct PieceFinding scanPiece(const struct Piece& piece, class LayerOpener& opener);
    FileFinding judge(int code, const char* virus, const struct ScanTrace& trace) const;
    FileFinding judgeWhole(int code, const char* virus, const struct ScanTrace& trace,
                           std::uint64_t size) const;

    cl_engine* engine_;
    Begin limits_;                   ///< for the file in hand
    const std::uint32_t maxSeconds_; ///< for a file of usual size
    std::string directory_;
    cl_scan_options options_{};
};

} // namespace qsavd
