#include "updater/files.h"

#include "base/plainfile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <limits>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace updater {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::size_t pieceSize = 1 << 20;
constexpr std::size_t smallSize = 4096;

struct CloseDirectory
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

base::UniqueFd openSource(int from, const std::string& name, std::uint64_t most)
{
    base::UniqueFd file(
        ::openat(from, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return {};
    const bool isPlain = S_ISREG(status.st_mode);
    if (isPlain && static_cast<std::uint64_t>(status.st_size) <= most)
        return file;
    errno = isPlain ? EFBIG : EPERM;
    return {};
}

base::UniqueFd makeTarget(int to, const std::string& name)
{
    ::unlinkat(to, name.c_str(), 0);
    base::UniqueFd file(
        ::openat(to, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file && ::fchmod(file.get(), 0644) != 0)
        file.reset();
    return file;
}

/// It may grow while it is read: `most` holds all the same.
bool copyBytes(int source, int target, std::uint64_t most, const Interrupted& interrupted)
{
    const auto buffer = std::make_unique<std::array<char, pieceSize>>();
    for (std::uint64_t done = 0; done <= most;) {
        const ssize_t got = ::read(source, buffer->data(), buffer->size());
        if (got == 0)
            return true;
        if (got < 0 && errno != EINTR)
            return false;
        if (got > 0 && !base::writeAll(target, {buffer->data(), static_cast<std::size_t>(got)}))
            return false;
        done += got > 0 ? static_cast<std::uint64_t>(got) : 0;
        if (interrupted()) {
            errno = EINTR;
            return false;
        }
    }
    errno = EFBIG;
    return false;
}

} // namespace

base::UniqueFd openFolder(int directory, const std::string& name)
{
    return base::UniqueFd(::openat(directory, name.c_str(), folderFlags));
}

base::UniqueFd makeFolder(int directory, const std::string& name, unsigned mode)
{
    const bool isNew = ::mkdirat(directory, name.c_str(), 0700) == 0;
    if (!isNew && errno != EEXIST)
        return {};
    base::UniqueFd folder = openFolder(directory, name);
    if (folder && isNew && ::fchmod(folder.get(), mode) != 0)
        folder.reset();
    return folder;
}

bool isRootsAlone(int directory)
{
    struct stat status = {};
    return ::fstat(directory, &status) == 0 && status.st_uid == 0 && !(status.st_mode & S_IWOTH) &&
           (!(status.st_mode & S_IWGRP) || status.st_gid == 0);
}

std::vector<std::string> namesIn(int directory)
{
    std::vector<std::string> names;
    base::UniqueFd own(::openat(directory, ".", folderFlags));
    const std::unique_ptr<DIR, CloseDirectory> list(own ? ::fdopendir(own.get()) : nullptr);
    if (!list)
        return names;
    static_cast<void>(own.release());
    while (const dirent* entry = ::readdir(list.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool isFile(int directory, const std::string& name)
{
    struct stat status = {};
    return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

bool copyFile(int from, const std::string& name, int to, std::uint64_t most, const Interrupted& interrupted)
{
    const base::UniqueFd source = openSource(from, name, most);
    const base::UniqueFd target = source ? makeTarget(to, name) : base::UniqueFd();
    return target && copyBytes(source.get(), target.get(), most, interrupted) && ::fsync(target.get()) == 0;
}

bool linkOrCopy(int from, const std::string& name, int to, const Interrupted& interrupted)
{
    ::unlinkat(to, name.c_str(), 0);
    if (::linkat(from, name.c_str(), to, name.c_str(), 0) == 0)
        return true;
    std::array<char, PATH_MAX> target{};
    if (::readlinkat(from, name.c_str(), target.data(), target.size() - 1) > 0)
        return ::symlinkat(target.data(), to, name.c_str()) == 0;
    return copyFile(from, name, to, std::numeric_limits<std::uint64_t>::max() - pieceSize, interrupted);
}

bool removeTree(int directory, const std::string& name)
{
    std::error_code error;
    std::filesystem::remove_all("/proc/self/fd/" + std::to_string(directory) + "/" + name, error);
    errno = error.value();
    return !error;
}

std::string readSmallFile(int directory, const std::string& name)
{
    const base::UniqueFd file = openSource(directory, name, smallSize);
    std::string text(smallSize, '\0');
    const ssize_t got = file ? ::read(file.get(), text.data(), text.size()) : 0;
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

bool writeSmallFile(int directory, const std::string& name, const std::string& text)
{
    const std::string fresh = name + ".new";
    const base::UniqueFd file = makeTarget(directory, fresh);
    return file && base::writeAll(file.get(), text) && ::fsync(file.get()) == 0 &&
           ::renameat(directory, fresh.c_str(), directory, name.c_str()) == 0;
}

} // namespace updater
