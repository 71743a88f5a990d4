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

std::string time(const timespec& t)
{
    return std::to_string(t.tv_sec) + "." + std::to_string(t.tv_nsec);
}

std::string describe(const std::string& path)
{
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0)
        return "missing\n";
    return std::to_string(info.st_dev) + " " + std::to_string(info.st_ino) + " " +
           std::to_string(info.st_size) + " " + time(info.st_mtim) + " " + time(info.st_ctim) + "\n";
}

} // namespace

SignatureWatch::SignatureWatch(std::vector<std::string> directories)
    : directories_(std::move(directories))
    , inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    std::error_code ignored;
    program_ = fs::read_symlink("/proc/self/exe", ignored).string();
    state_ = describe(program_);
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
    for (const std::string& path : directories_) {
        const SignatureDirectory directory = openSignatureDirectory(path);
        for (const std::string& name : signatureFiles(directory))
            print += directory.shown(name) + " " + describe(directory.reached(name));
    }
    return print;
}

bool SignatureWatch::programChanged() const
{
    return describe(program_) != state_;
}

void SignatureWatch::watchAll()
{
    for (const std::string& directory : directories_) {
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
