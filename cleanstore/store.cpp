#include "cleanstore/store.h"

#include "base/systemerror.h"
#include "cleanstore/filesystems.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cleanstore {

namespace {

constexpr char fileName[] = "cleanfiles";
constexpr std::uint64_t mark = 0x3130'6e61'656c'6371; // with the number of the format
constexpr std::size_t bucketSize = 16;
constexpr std::size_t buckets = Store::mostEntries / bucketSize;
constexpr std::size_t setCount = 256;
constexpr int attempts = 3;
constexpr int keptDays = 30; // before an entry of the present set gives way to another one

/// The head of the file.
struct Head
{
    std::uint64_t mark = cleanstore::mark;
    KeyedHash::Key key{};
    Digest check{}; ///< of the key
};
struct Clock
{
    std::int64_t latest = 0;
    std::uint64_t check = 0;
};
constexpr std::size_t clockOffset = 64;
constexpr std::size_t nextSetOffset = 128; // a hint: the number that the next new set gets
constexpr std::size_t setsOffset = 4096;
constexpr std::size_t entriesOffset = setsOffset + setCount * sizeof(Digest);
constexpr std::size_t fileSize = entriesOffset + Store::mostEntries * sizeof(Entry);
static_assert(fileSize <= 20u << 20);

template <class T>
T readAt(const std::byte* mapped, std::size_t offset)
{
    T value;
    std::memcpy(&value, mapped + offset, sizeof value);
    return value;
}

base::Result<base::UniqueFd> openOwnDirectory(const std::string& path)
{
    base::UniqueFd directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!directory || ::fstat(directory.get(), &status) != 0)
        return base::systemError();
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)))
        return base::systemError(EPERM);
    return directory;
}

bool isOwnFile(int file)
{
    struct stat status = {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777) == 0600 && status.st_nlink == 1 &&
           static_cast<std::size_t>(status.st_size) == fileSize;
}

/// The two buckets that an entry may be in.
std::array<std::size_t, 2> bucketsOf(std::uint64_t place)
{
    return {(place & 0xFFFFFFFF) % buckets * bucketSize, (place >> 32) % buckets * bucketSize};
}

std::uint64_t checkOf(KeyedHash& hash, std::int64_t latest)
{
    return hash.of(std::array{std::int64_t{1}, latest})[0];
}

} // namespace

Store::Store(base::UniqueFd directory, base::UniqueFd file, const std::byte* mapped)
    : directory_(std::move(directory))
    , file_(std::move(file))
    , mapped_(mapped)
    , hash_(readAt<Head>(mapped, 0).key)
{
}

Store::~Store()
{
    ::munmap(const_cast<std::byte*>(mapped_), fileSize);
}

base::Result<std::unique_ptr<Store>> Store::open(const std::string& path)
{
    ::mkdir(path.c_str(), 0700);
    const base::Result<base::UniqueFd> directory = openOwnDirectory(path);
    if (!directory)
        return directory.error();
    const int place = directory.value().get();
    struct stat status = {};
    struct statfs told = {};
    // What is mapped must not wait for another machine.
    if (::fstat(place, &status) != 0 || ::fstatfs(place, &told) != 0 ||
        !FileSystems().of(place, told, status))
        return base::systemError(EMEDIUMTYPE);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (std::unique_ptr<Store> store = openFile(place))
            return store;
        if (::unlinkat(place, fileName, 0) != 0 && errno != ENOENT)
            return base::systemError();
        if (!makeFile(place) && errno != EEXIST)
            return base::systemError();
    }
    return base::systemError(EAGAIN);
}

std::unique_ptr<Store> Store::openFile(int directory)
{
    base::UniqueFd file(
        ::openat(directory, fileName, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file || !isOwnFile(file.get()))
        return nullptr;
    void* const mapped = ::mmap(nullptr, fileSize, PROT_READ, MAP_SHARED, file.get(), 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    base::UniqueFd place(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
    std::unique_ptr<Store> store(
        new Store(std::move(place), std::move(file), static_cast<const std::byte*>(mapped)));
    const Head head = readAt<Head>(store->mapped_, 0);
    std::int64_t time = 0;
    const bool sound = head.mark == mark && head.check == store->hash_(head.key) && head.check != Digest{} &&
                       store->latest(time);
    return sound ? std::move(store) : nullptr;
}

/// Nobody sees it before it is whole, and nothing is left of one that was not finished.
bool Store::makeFile(int directory)
{
    const base::UniqueFd file(::openat(directory, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    Head head;
    if (!file || ::fchmod(file.get(), 0600) != 0 ||
        ::getrandom(head.key.data(), head.key.size(), 0) != static_cast<ssize_t>(head.key.size()))
        return false;
    head.check = KeyedHash(head.key)(head.key);
    // All its room is taken now: later there might be none.
    if (const int code = ::posix_fallocate(file.get(), 0, fileSize); code != 0) {
        errno = code;
        return false;
    }
    if (::pwrite(file.get(), &head, sizeof head, 0) != static_cast<ssize_t>(sizeof head))
        return false;
    const std::string link = "/proc/self/fd/" + std::to_string(file.get());
    return ::linkat(AT_FDCWD, link.c_str(), directory, fileName, AT_SYMLINK_FOLLOW) == 0;
}

bool Store::remove(const std::string& path)
{
    const base::Result<base::UniqueFd> directory = openOwnDirectory(path);
    if (!directory)
        return directory.error().code == ENOENT;
    return ::unlinkat(directory.value().get(), fileName, 0) == 0 || errno == ENOENT;
}

void Store::discard()
{
    ::unlinkat(directory_.get(), fileName, 0);
}

Entry Store::entryAt(std::size_t index) const
{
    return readAt<Entry>(mapped_, entriesOffset + index * sizeof(Entry));
}

Entry Store::find(std::uint64_t place) const
{
    for (const std::size_t bucket : bucketsOf(place))
        for (std::size_t i = bucket; i < bucket + bucketSize; ++i)
            if (const Entry entry = entryAt(i); entry.place == place)
                return entry;
    return {};
}

void Store::put(const Entry& entry)
{
    if (const auto room = roomFor(entry))
        write(entriesOffset + *room * sizeof entry, std::as_bytes(std::span(&entry, 1)));
}

/// Of two buckets the emptier one fills up first, so that hardly anything finds no room before all are full.
std::optional<std::size_t> Store::roomFor(const Entry& entry) const
{
    std::optional<std::size_t> free, old;
    std::size_t leastUsed = bucketSize;
    int oldest = entry.day - keptDays;
    for (const std::size_t bucket : bucketsOf(entry.place)) {
        std::size_t used = 0;
        std::optional<std::size_t> gap;
        for (std::size_t i = bucket; i < bucket + bucketSize; ++i) {
            const Entry present = entryAt(i);
            if (present.place == entry.place)
                return i;
            used += present.place != 0;
            if (present.place == 0)
                gap = i;
            const int day = present.set == entry.set ? present.day : present.day - keptDays;
            if (day < oldest) {
                oldest = day;
                old = i;
            }
        }
        if (used < leastUsed) {
            leastUsed = used;
            free = gap;
        }
    }
    return free ? free : old;
}

std::uint8_t Store::numberOf(const Digest& set)
{
    for (std::size_t number = 0; number < setCount; ++number)
        if (setOf(static_cast<std::uint8_t>(number)) == set)
            return static_cast<std::uint8_t>(number);
    const auto number = readAt<std::uint8_t>(mapped_, nextSetOffset);
    write(setsOffset + number * sizeof set, std::as_bytes(std::span(set)));
    const auto next = static_cast<std::byte>(number + 1);
    write(nextSetOffset, {&next, 1});
    return number;
}

Digest Store::setOf(std::uint8_t number) const
{
    return readAt<Digest>(mapped_, setsOffset + number * sizeof(Digest));
}

bool Store::latest(std::int64_t& time)
{
    const auto clock = readAt<Clock>(mapped_, clockOffset);
    time = clock.latest;
    return (clock.latest == 0 && clock.check == 0) || clock.check == checkOf(hash_, clock.latest);
}

void Store::setLatest(std::int64_t time)
{
    const Clock clock{time, checkOf(hash_, time)};
    write(clockOffset, std::as_bytes(std::span(&clock, 1)));
}

/// What cannot be written is not remembered, and that is all.
void Store::write(std::size_t offset, std::span<const std::byte> data) const
{
    [[maybe_unused]] const ssize_t written =
        ::pwrite(file_.get(), data.data(), data.size(), static_cast<off_t>(offset));
}

} // namespace cleanstore
