#include "quarantine/newfile.h"

#include "base/systemerror.h"
#include "quarantine/directorylist.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarantine {

namespace {

constexpr char hiddenPrefix[] = ".incoming-";

bool isNamed(int directory, const std::string& name, int fd)
{
    struct stat named = {};
    struct stat open = {};
    return ::fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && ::fstat(fd, &open) == 0 &&
           named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

} // namespace

base::Result<bool> moveNoReplace(int fromDirectory, const std::string& from, int toDirectory,
                                 const std::string& to)
{
    if (::renameat2(fromDirectory, from.c_str(), toDirectory, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return base::systemError();
    // A file system that cannot do that, such as NFS: a link does not replace either.
    if (::linkat(fromDirectory, from.c_str(), toDirectory, to.c_str(), 0) != 0)
        return base::systemError();
    if (::unlinkat(fromDirectory, from.c_str(), 0) == 0)
        return true;
    const base::Error error = base::systemError();
    ::unlinkat(toDirectory, to.c_str(), 0);
    return error;
}

base::Result<NewFile> NewFile::create(int directory, bool nameless)
{
    std::string name;
    base::UniqueFd fd(nameless ? ::openat(directory, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600) : -1);
    if (!fd) {
        name = hiddenPrefix + randomDigits();
        fd.reset(::openat(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    }
    if (!fd)
        return base::systemError();
    ::flock(fd.get(), LOCK_EX | LOCK_NB);
    return NewFile(directory, std::move(name), std::move(fd));
}

NewFile::NewFile(int directory, std::string name, base::UniqueFd fd)
    : directory_(directory)
    , name_(std::move(name))
    , fd_(std::move(fd))
{
}

NewFile::NewFile(NewFile&& other) noexcept
    : directory_(other.directory_)
    , name_(std::exchange(other.name_, {}))
    , fd_(std::move(other.fd_))
{
}

NewFile& NewFile::operator=(NewFile&& other) noexcept
{
    std::swap(directory_, other.directory_);
    std::swap(name_, other.name_);
    std::swap(fd_, other.fd_);
    return *this;
}

NewFile::~NewFile()
{
    if (!name_.empty())
        ::unlinkat(directory_, name_.c_str(), 0);
}

base::Result<bool> NewFile::publish(int directory, const std::string& name)
{
    if (::fsync(fd()) != 0)
        return base::systemError();
    if (name_.empty()) {
        const std::string self = "/proc/self/fd/" + std::to_string(fd());
        if (::linkat(AT_FDCWD, self.c_str(), directory, name.c_str(), AT_SYMLINK_FOLLOW) != 0)
            return base::systemError();
    } else if (const auto moved = moveNoReplace(directory_, name_, directory, name); !moved) {
        return moved;
    }
    directory_ = directory;
    name_ = name;
    if (!isNamed(directory, name, fd())) {
        name_.clear(); // somebody put another file in the place of ours
        return base::systemError(ESTALE);
    }
    if (::fsync(directory) != 0)
        return base::systemError();
    return true;
}

int sweepUnfinished(int directory)
{
    int swept = 0;
    for (const std::string& name : listDirectory(directory)) {
        if (!name.starts_with(hiddenPrefix))
            continue;
        const base::UniqueFd file(
            ::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        swept += file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 &&
                 ::unlinkat(directory, name.c_str(), 0) == 0;
    }
    return swept;
}

std::string randomDigits()
{
    std::uint64_t number = 0;
    while (::getrandom(&number, sizeof number, 0) != sizeof number) {
    }
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(number));
    return digits;
}

} // namespace quarantine
