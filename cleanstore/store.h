#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "cleanstore/keyedhash.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace cleanstore {

/// What is known of one state of one file. `check` binds all else together, so that an entry which is torn,
/// forged or another one's is none.
struct [[gnu::packed]] Entry
{
    std::uint64_t place = 0; ///< from a digest of the file; 0: no entry
    std::uint64_t check = 0;
    std::uint16_t day = 0;  ///< of the scan, since the epoch
    std::uint8_t set = 0;   ///< number of the signature set
    std::uint8_t twice = 0; ///< 1: it was clean under two sets
};
static_assert(sizeof(Entry) == 20);

/// A file of 20 MB with up to 1,000,000 entries, and with the key of their digests. Several processes may use
/// it at once and may be killed at any time: entries are written one by one, and are read with doubt. For one
/// thread.
class Store
{
  public:
    static constexpr std::size_t mostEntries = 1'000'000;

    /// Opens the one in `directory`, both of which must be the caller's alone and on a file system of the
    /// machine's own; the directory is made if need be. One that is damaged or somebody else's is replaced by
    /// an empty one.
    static base::Result<std::unique_ptr<Store>> open(const std::string& directory);
    /// Does away with the one in `directory`. False when there is one that cannot be.
    static bool remove(const std::string& directory);

    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    KeyedHash& hash() { return hash_; }

    /// The entry at `place`; one of place 0 when there is none.
    Entry find(std::uint64_t place) const;
    /// Puts `entry` over one of its place, else where there is room, else over one near of another set or of
    /// long ago. Where there is none of these, it is not kept: then the store is full of what is worth as
    /// much.
    void put(const Entry& entry);

    /// Number of a signature set, which may once become that of another one.
    std::uint8_t numberOf(const Digest& set);
    /// The set of that number now.
    Digest setOf(std::uint8_t number) const;

    /// The latest time at which the store was in use, nanoseconds since the epoch; 0: never. False when that
    /// is not to be believed.
    bool latest(std::int64_t& time);
    void setLatest(std::int64_t time);

    /// Empties the directory's store, and this one is used no more.
    void discard();

  private:
    Store(base::UniqueFd directory, base::UniqueFd file, const std::byte* mapped);

    static std::unique_ptr<Store> openFile(int directory);
    static bool makeFile(int directory);
    Entry entryAt(std::size_t index) const;
    std::optional<std::size_t> roomFor(const Entry& entry) const;
    void write(std::size_t offset, std::span<const std::byte> data) const;

    const base::UniqueFd directory_;
    const base::UniqueFd file_;
    const std::byte* const mapped_;
    KeyedHash hash_;
};

} // namespace cleanstore
