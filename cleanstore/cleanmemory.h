#pragma once

#include "cleanstore/filesystems.h"
#include "cleanstore/store.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

namespace cleanstore {

/// Remembers which files were clean, from scan to scan. A file counts as remembered as long as it has not
/// been touched since, and is looked at with the same engine, options, limits and signatures. Nothing is
/// remembered of a file that was changed less than a minute before it was scanned: what writes it may not be
/// done, and the clock may be behind.
///
/// May be used by several threads. Times are those of the machine's clock, in nanoseconds since the epoch.
class CleanMemory
{
  public:
    using Time = std::int64_t;

    /// Uses the store in `directory`, which is emptied when the clock was set back since it was used. With
    /// `rescanDays` a file that did not change for 60 days, and was clean under two sets of signatures, is
    /// remembered for that many days whatever the signatures are.
    static base::Result<std::unique_ptr<CleanMemory>> open(const std::string& directory, unsigned rescanDays,
                                                           Time now);

    /// Writes down what was added: a scan that comes by the store finds it unchanged.
    ~CleanMemory();
    CleanMemory(const CleanMemory&) = delete;
    CleanMemory& operator=(const CleanMemory&) = delete;

    /// What looks at the files from now on, each as bytes that differ when it does. Without either nothing is
    /// remembered.
    void setScanner(std::span<const std::byte> engine, std::span<const std::byte> conditions,
                    std::span<const std::byte> signatures);

    /// True when the file was clean.
    bool knows(const FileKey& file, Time now);

    /// True when the file is worth adding after a scan that begins now.
    static bool isOldEnough(const FileKey& file, Time now);
    /// Notes that the file was wholly scanned and clean. It was old enough, and its key was the same before
    /// and afterwards.
    void add(const FileKey& file, Time now);

    /// The machine's time.
    static Time clock();

  private:
    CleanMemory(std::unique_ptr<Store> store, unsigned rescanDays, Time latest);

    bool goesOn(Time now);
    void writeDown();
    Digest digestOf(const FileKey& file);
    std::uint64_t checkOf(const Digest& file, const Entry& entry, const Digest& set);
    bool isSettled(const FileKey& file, const Entry& entry, const Digest& digest, Time now);

    std::mutex mutex_;
    std::vector<Entry> noted_;     ///< that the store does not have yet
    std::unique_ptr<Store> store_; ///< null once it cannot be relied upon
    const unsigned rescanDays_;
    Time latest_;      ///< that was seen
    Digest scanner_{}; ///< zeros: none, nothing is remembered
    Digest set_{};
    std::uint8_t setNumber_ = 0;
};

} // namespace cleanstore
