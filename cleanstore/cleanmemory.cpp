#include "cleanstore/cleanmemory.h"

#include <algorithm>

#include <time.h>

namespace cleanstore {

namespace {

using Time = CleanMemory::Time;

constexpr Time second = 1'000'000'000;
constexpr Time minute = 60 * second;
constexpr Time day = 24 * 60 * minute;
constexpr Time settledAge = 60 * day;
/// How far the clock may be set back: what is noted is older than this at any time that was noted.
constexpr Time tolerance = minute - 10 * second;
constexpr std::size_t mostNoted = 65'536;

/// What a digest is of, so that those of different things never meet.
enum class Purpose : std::uint64_t { File = 16, Check, Scanner, Set };

struct Pair
{
    Purpose purpose;
    Digest first;
    Digest second;
};

struct DescribedFile
{
    Purpose purpose;
    Digest scanner;
    FileKey file;
};

struct DescribedEntry
{
    Purpose purpose;
    Digest file;
    Digest set;
    std::uint64_t told;
};

std::uint16_t dayOf(Time time)
{
    return static_cast<std::uint16_t>(time / day);
}

} // namespace

base::Result<std::unique_ptr<CleanMemory>> CleanMemory::open(const std::string& directory,
                                                             unsigned rescanDays, Time now)
{
    for (bool again = false;; again = true) {
        base::Result<std::unique_ptr<Store>> store = Store::open(directory);
        if (!store)
            return store.error();
        Time latest = 0;
        store.value()->latest(latest);
        // Files that are changed from now on may get the times of older ones.
        if (now + tolerance >= latest || again)
            return std::unique_ptr<CleanMemory>(
                new CleanMemory(std::move(store).value(), rescanDays, std::max(latest, now)));
        store.value()->discard();
    }
}

CleanMemory::~CleanMemory()
{
    writeDown();
}

CleanMemory::CleanMemory(std::unique_ptr<Store> store, unsigned rescanDays, Time latest)
    : store_(std::move(store))
    , rescanDays_(rescanDays)
    , latest_(latest)
{
    store_->setLatest(latest_);
}

void CleanMemory::setScanner(std::span<const std::byte> engine, std::span<const std::byte> conditions,
                             std::span<const std::byte> signatures)
{
    const std::lock_guard lock(mutex_);
    scanner_ = {};
    if (!store_ || engine.empty() || signatures.empty())
        return;
    KeyedHash& hash = store_->hash();
    set_ = hash.of(Pair{Purpose::Set, hash(signatures), {}});
    setNumber_ = store_->numberOf(set_);
    scanner_ = hash.of(Pair{Purpose::Scanner, hash(engine), hash(conditions)});
}

bool CleanMemory::knows(const FileKey& file, Time now)
{
    const std::lock_guard lock(mutex_);
    if (scanner_ == Digest{} || file.changed > now || !goesOn(now))
        return false;
    const Digest digest = digestOf(file);
    const Entry entry = store_->find(digest[0]);
    return entry.place != 0 &&
           (entry.check == checkOf(digest, entry, set_) || isSettled(file, entry, digest, now));
}

/// True when a file that was clean under another set need not be scanned yet.
bool CleanMemory::isSettled(const FileKey& file, const Entry& entry, const Digest& digest, Time now)
{
    const int passed = dayOf(now) - entry.day;
    return entry.twice == 1 && passed >= 0 && static_cast<unsigned>(passed) < rescanDays_ &&
           file.changed + settledAge <= now &&
           entry.check == checkOf(digest, entry, store_->setOf(entry.set));
}

bool CleanMemory::isOldEnough(const FileKey& file, Time now)
{
    return file.changed + minute <= now;
}

void CleanMemory::add(const FileKey& file, Time now)
{
    const std::lock_guard lock(mutex_);
    if (scanner_ == Digest{} || !isOldEnough(file, now) || !goesOn(now))
        return;
    const Digest digest = digestOf(file);
    const Entry before = store_->find(digest[0]);
    const Digest earlier = store_->setOf(before.set);
    const bool known = before.place != 0 && before.check == checkOf(digest, before, earlier);
    Entry entry;
    entry.place = digest[0];
    entry.day = dayOf(now);
    entry.set = setNumber_;
    entry.twice = known && (before.twice == 1 || earlier != set_) ? 1 : 0;
    entry.check = checkOf(digest, entry, set_);
    noted_.push_back(entry);
    if (noted_.size() == mostNoted)
        writeDown();
}

void CleanMemory::writeDown()
{
    if (!store_)
        return;
    store_->setLatest(latest_);
    for (const Entry& entry : noted_)
        store_->put(entry);
    noted_.clear();
}

Time CleanMemory::clock()
{
    timespec time = {};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return Time{time.tv_sec} * second + time.tv_nsec;
}

/// A clock that was set back ends it: nothing that was noted can be relied upon any more.
bool CleanMemory::goesOn(Time now)
{
    if (!store_)
        return false;
    if (now + tolerance < latest_) {
        store_->discard();
        store_.reset();
        return false;
    }
    latest_ = std::max(latest_, now);
    return true;
}

Digest CleanMemory::digestOf(const FileKey& file)
{
    const Digest digest = store_->hash().of(DescribedFile{Purpose::File, scanner_, file});
    return {std::max<std::uint64_t>(digest[0], 1), digest[1]};
}

std::uint64_t CleanMemory::checkOf(const Digest& file, const Entry& entry, const Digest& set)
{
    const std::uint64_t told =
        std::uint64_t{entry.day} << 16 | std::uint64_t{entry.set} << 8 | std::uint64_t{entry.twice};
    return store_->hash().of(DescribedEntry{Purpose::Check, file, set, told})[0];
}

} // namespace cleanstore
