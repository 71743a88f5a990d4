#include "libvardo/replacefile.h"

#include "base/plainfile.h"
#include "base/systemerror.h"

#include <cerrno>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vardo {

namespace {

/// The file that takes the place of another, in the same directory; gone again unless it was renamed.
class Replacement
{
  public:
    Replacement(int directory, std::string target)
        : directory_(directory)
        , target_(std::move(target))
    {
        for (int attempt = 0; attempt < 100 && !fd_ && (attempt == 0 || errno == EEXIST); ++attempt) {
            name_ = "." + target_ + "." + std::to_string(::getpid()) + "-" + std::to_string(attempt);
            fd_.reset(::openat(directory_, name_.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement()
    {
        if (fd_)
            ::unlinkat(directory_, name_.c_str(), 0);
    }

    explicit operator bool() const { return static_cast<bool>(fd_); }

    bool fill(std::string_view text, const struct stat* old)
    {
        if (!base::writeAll(fd_.get(), text))
            return false;
        const mode_t mode = old ? takeOwner(*old) : 0660;
        return ::fchmod(fd_.get(), mode) == 0 && ::fsync(fd_.get()) == 0;
    }

    bool moveIntoPlace()
    {
        if (::renameat(directory_, name_.c_str(), directory_, target_.c_str()) != 0)
            return false;
        fd_.reset();
        ::fsync(directory_);
        return true;
    }

  private:
    /// Takes over owner and group as far as that is allowed. Returns the mode that may be had then: what
    /// the old group was allowed is not for another one.
    mode_t takeOwner(const struct stat& old)
    {
        const bool sameGroup = ::fchown(fd_.get(), old.st_uid, old.st_gid) == 0 ||
                               ::fchown(fd_.get(), static_cast<uid_t>(-1), old.st_gid) == 0;
        return old.st_mode & (sameGroup ? 0666 : 0606);
    }

    int directory_;
    std::string target_;
    std::string name_;
    base::UniqueFd fd_;
};

} // namespace

base::Result<std::string> readRegularFile(const std::string& path, std::size_t most, struct stat& status)
{
    const base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd || ::fstat(fd.get(), &status) != 0)
        return base::systemError();
    if (!S_ISREG(status.st_mode))
        return base::systemError(EINVAL);
    std::string text;
    char buffer[8192];
    ssize_t got;
    while ((got = ::read(fd.get(), buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(got));
        if (text.size() > most)
            return base::systemError(EFBIG);
    }
    if (got < 0)
        return base::systemError();
    return text;
}

bool replaceFile(const std::string& path, std::string_view text)
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const std::string name = path.substr(slash + 1); // all of it when there is no slash
    const base::UniqueFd dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat old = {};
    const bool exists = dir && ::fstatat(dir.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (!dir || name.empty() || (exists ? !S_ISREG(old.st_mode) : errno != ENOENT))
        return false;
    Replacement file(dir.get(), name);
    return file && file.fill(text, exists ? &old : nullptr) && file.moveIntoPlace();
}

} // namespace vardo
