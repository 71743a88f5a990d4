#include "qsavd/signaturewatch.h"

#include "qsavd/signaturefiles.h"

#include <array>
#include <filesystem>

#include <sys/inotify.h>
#include <sys/stat.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t watchedEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CREATE | IN_ATTRIB | IN_ONLYDIR;

/// Of the file at `path`, which a package exchanges by a rename.
std::pair<dev_t, ino_t> identity(const std::string& path)
{
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 ? std::pair(info.st_dev, info.st_ino) : std::pair<dev_t, ino_t>();
}

} // namespace

SignatureWatch::SignatureWatch(SignaturePlaces places)
    : places_(std::move(places))
    , inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    std::error_code ignored;
    program_ = fs::read_symlink("/proc/self/exe", ignored).string();
    identity_ = identity(program_);
    watchAll();
}

void SignatureWatch::readEvents()
{
    alignas(inotify_event) std::array<char, 4096> events;
    while (read(inotify_.get(), events.data(), events.size()) > 0) {
    }
    watchAll();
}

std::string SignatureWatch::fingerprint() const
{
    std::string print;
    for (const SignatureDirectory& directory : openSignatureDirectories(places_))
        print += qsavd::fingerprint(directory);
    return print;
}

bool SignatureWatch::programChanged() const
{
    return identity(program_) != identity_;
}

void SignatureWatch::watchAll()
{
    for (const std::string& directory : places_.all()) {
        watch(fs::path(directory).parent_path().string());
        watch(directory);
    }
}

/// Another directory may have come to this path: then the one before is let go.
void SignatureWatch::watch(const std::string& path)
{
    const int now = inotify_add_watch(inotify_.get(), path.c_str(), watchedEvents);
    const auto [before, isNew] = watches_.try_emplace(path, now);
    if (!isNew && before->second >= 0 && before->second != now)
        inotify_rm_watch(inotify_.get(), before->second);
    before->second = now;
}

} // namespace qsavd
