#pragma once

#include "base/uniquefd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

namespace base {

/// Opens a file in a directory that others may write to, without following a link or waiting for anybody:
/// regular files of one name only. `flags` and `mode` are those of open(). Holds nothing on
/// failure, with errno set.
inline UniqueFd openPlainFile(int directory, const char* name, int flags, mode_t mode = 0)
{
    UniqueFd file(::openat(directory, name, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode));
    struct stat status = {};
    if (file && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1)) {
        file.reset();
        errno = EPERM;
    }
    return file;
}

/// The same, of a file that is made if it does not exist, with exactly this mode.
inline UniqueFd openOrMakePlainFile(int directory, const char* name, int flags, mode_t mode)
{
    UniqueFd file = openPlainFile(directory, name, flags);
    if (!file && errno == ENOENT) {
        file = openPlainFile(directory, name, flags | O_CREAT | O_EXCL, mode);
        if (file)
            ::fchmod(file.get(), mode); // whatever the umask took away
        else if (errno == EEXIST)
            file = openPlainFile(directory, name, flags); // somebody else was faster
    }
    return file;
}

/// Opens a directory in one that others may write to. `flags` are those of open(). A link in its place counts
/// only when root or the caller made it. Holds nothing on failure, with errno set.
inline UniqueFd openFolder(int directory, const char* name, int flags)
{
    flags |= O_DIRECTORY | O_CLOEXEC;
    UniqueFd folder(::openat(directory, name, flags | O_NOFOLLOW));
    if (folder || (errno != ENOTDIR && errno != ELOOP))
        return folder;
    const int refusal = errno;
    // What is followed is the link that was looked at, whatever takes its place meanwhile.
    const UniqueFd link(::openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    std::array<char, PATH_MAX> target{};
    const bool trusted = link && ::fstat(link.get(), &status) == 0 && S_ISLNK(status.st_mode) &&
                         (status.st_uid == 0 || status.st_uid == ::geteuid()) &&
                         ::readlinkat(link.get(), "", target.data(), target.size() - 1) > 0;
    if (trusted)
        folder.reset(::openat(directory, target.data(), flags));
    else
        errno = refusal;
    return folder;
}

/// Writes all of `text`, over interruptions and short writes. False with errno set on failure.
inline bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace base
