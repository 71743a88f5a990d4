#include "base/replacefile.h"

#include "base/plainfile.h"
#include "base/systemerror.h"

#include <cerrno>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

namespace {

UniqueFd createFile(int directory, const std::string& name)
{
    return UniqueFd(
        ::openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
}

} // namespace

Replacement::Replacement(int directory, std::string target, std::string temporary)
    : directory_(directory)
    , target_(std::move(target))
    , name_(std::move(temporary))
{
    if (!name_.empty()) {
        ::unlinkat(directory_, name_.c_str(), 0);
        fd_ = createFile(directory_, name_);
        return;
    }
    for (int attempt = 0; attempt < 100 && !fd_ && (attempt == 0 || errno == EEXIST); ++attempt) {
        name_ = "." + target_ + "." + std::to_string(::getpid()) + "-" + std::to_string(attempt);
        fd_ = createFile(directory_, name_);
    }
}

Replacement::~Replacement()
{
    if (fd_)
        ::unlinkat(directory_, name_.c_str(), 0);
}

bool Replacement::fill(std::string_view text, mode_t mode, const struct stat* old)
{
    constexpr auto keep = static_cast<uid_t>(-1);
    if (!writeAll(fd(), text))
        return false;
    const bool otherGroup =
        old && ::fchown(fd(), old->st_uid, old->st_gid) != 0 && ::fchown(fd(), keep, old->st_gid) != 0;
    return ::fchmod(fd(), otherGroup ? mode & ~mode_t{S_IRWXG} : mode) == 0 && ::fsync(fd()) == 0;
}

bool Replacement::moveIntoPlace()
{
    if (::renameat(directory_, name_.c_str(), directory_, target_.c_str()) != 0)
        return false;
    fd_.reset();
    ::fsync(directory_);
    return true;
}

Result<std::string> readAll(int file, std::size_t most)
{
    std::string text;
    for (char piece[65'536];;) {
        const ssize_t count = ::read(file, piece, sizeof piece);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError();
        if (count == 0)
            return text;
        text.append(piece, static_cast<std::size_t>(count));
        if (text.size() > most)
            return systemError(EFBIG);
    }
}

Result<std::string> readRegularFile(const std::string& path, std::size_t most, struct stat& status)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd || ::fstat(fd.get(), &status) != 0)
        return systemError();
    if (!S_ISREG(status.st_mode))
        return systemError(EINVAL);
    return readAll(fd.get(), most);
}

bool replaceFile(const std::string& path, std::string_view text)
{
    constexpr mode_t permissions = 0666;
    constexpr mode_t newMode = 0660;
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const std::string name = path.substr(slash + 1); // all of it when there is no slash
    const UniqueFd dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat old = {};
    const bool exists = dir && ::fstatat(dir.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (!dir || name.empty() || (exists ? !S_ISREG(old.st_mode) : errno != ENOENT))
        return false;
    Replacement file(dir.get(), name);
    return file && file.fill(text, exists ? old.st_mode & permissions : newMode, exists ? &old : nullptr) &&
           file.moveIntoPlace();
}

} // namespace base
