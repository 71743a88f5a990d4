#include "libvardo/remembering.h"

#include "base/uniquefd.h"

#include <array>
#include <span>

#include <fcntl.h>

namespace vardo {

namespace {

/// All that decides what is looked into, and how far.
std::array<std::uint64_t, 9> conditionsOf(const SessionOptions& options)
{
    return {options.archives,     options.mails,       options.packed,
            options.heuristics,   options.maxFileSize, options.maxScanSize,
            options.maxRecursion, options.maxFiles,    options.maxSeconds};
}

} // namespace

Remembering::Remembering(RememberSettings settings, const SessionOptions& options)
    : settings_(std::move(settings))
    , options_(options)
{
}

void Remembering::open(CallWatch& watch)
{
    using cleanstore::CleanMemory;
    if (settings_.directory.empty())
        return;
    auto memory = watch.run([settings = settings_] {
        return CleanMemory::open(settings.directory, settings.rescanDays, CleanMemory::clock());
    });
    if (!memory)
        return;
    memory_ = std::move(memory).value();
    // Its own place has been written by the kernel, and mostly is on the file system that will be scanned.
    const base::UniqueFd place(watch.run([directory = settings_.directory] {
        return ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }));
    struct stat status = {};
    if (::fstat(place.get(), &status) == 0)
        fileSystemOf(place.get(), status, watch);
}

void Remembering::setService(const ServiceInfo& service)
{
    const auto conditions = conditionsOf(options_);
    if (memory_)
        memory_->setScanner(std::as_bytes(std::span(service.engine)), std::as_bytes(std::span(conditions)),
                            std::as_bytes(std::span(service.signatureSet)));
}

std::optional<cleanstore::FileSystem> Remembering::fileSystemOf(int fd, const struct stat& status,
                                                                CallWatch& watch)
{
    if (!memory_)
        return std::nullopt;
    struct statfs told = {};
    if (watch.run([fd, &told] { return ::fstatfs(fd, &told); }) != 0)
        return std::nullopt;
    return fileSystems_.of(fd, told, status);
}

Remembering::Key Remembering::keyOf(const std::optional<cleanstore::FileSystem>& system,
                                    const struct stat& status)
{
    return system ? cleanstore::keyOf(*system, status) : std::nullopt;
}

bool Remembering::knows(const Key& key)
{
    return memory_ && key && memory_->knows(*key, cleanstore::CleanMemory::clock());
}

Remembering::Key Remembering::prepare(const Key& key, int fd, CallWatch& watch)
{
    using cleanstore::CleanMemory;
    if (!memory_ || !key || !CleanMemory::isOldEnough(*key, CleanMemory::clock()))
        return std::nullopt;
    // A page that was written by way of a mapping takes further writes, without a new time, until it is on
    // the disk.
    constexpr unsigned wholly =
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    return watch.run([fd] { return ::sync_file_range(fd, 0, 0, wholly); }) == 0 ? key : std::nullopt;
}

void Remembering::add(const Key& key)
{
    if (memory_ && key)
        memory_->add(*key, cleanstore::CleanMemory::clock());
}

} // namespace vardo
