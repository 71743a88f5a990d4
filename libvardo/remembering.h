#pragma once

#include "cleanstore/cleanmemory.h"
#include "libvardo/callwatch.h"
#include "libvardo/scansession.h"

#include <memory>
#include <optional>
#include <string>

#include <sys/stat.h>

namespace vardo {

/// Where the memory of clean files is, and how long it holds.
struct RememberSettings
{
    std::string directory;   ///< absolute; empty: nothing is remembered
    unsigned rescanDays = 0; ///< as CleanMemory has it
};

/// The memory of clean files as a scan uses it. A scan without one, or whose memory cannot be used, scans
/// all.
class Remembering
{
  public:
    using Key = std::optional<cleanstore::FileKey>;

    /// None.
    Remembering() = default;
    /// One for scans with `options`; none until it is opened.
    Remembering(RememberSettings settings, const SessionOptions& options);

    /// Walking side, before all else.
    void open(CallWatch& watch);
    /// Takes what `service` says of itself for what scans from now on. On any thread.
    void setService(const ServiceInfo& service);

    /// The file system of `fd`, a directory open for reading with this status, for keyOf. Walking side.
    std::optional<cleanstore::FileSystem> fileSystemOf(int fd, const struct stat& status, CallWatch& watch);
    /// What a file is remembered by; none when it cannot be remembered. Walking side.
    static Key keyOf(const std::optional<cleanstore::FileSystem>& system, const struct stat& status);
    /// True when the file was clean and has not changed since. Walking side.
    bool knows(const Key& key);

    /// Before a file open as `fd` is scanned: the key by which it may be remembered afterwards, if at all.
    /// What was written to the file until now, and what will be, shows in its times. Walking side.
    Key prepare(const Key& key, int fd, CallWatch& watch);
    /// After it was found clean, wholly scanned and the same. On any thread.
    void add(const Key& key);

  private:
    RememberSettings settings_;
    std::unique_ptr<cleanstore::CleanMemory> memory_;
    cleanstore::FileSystems fileSystems_;
    SessionOptions options_;
};

} // namespace vardo
