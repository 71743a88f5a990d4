#include "base/rootsway.h"

#include "base/uniquefd.h"

#include <climits>

#include <fcntl.h>

namespace base {

namespace {

constexpr int lookFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
constexpr int mostLinks = 40;

bool othersWrite(const struct stat& status)
{
    return status.st_uid != 0 || (status.st_mode & S_IWOTH) ||
           ((status.st_mode & S_IWGRP) && status.st_gid != 0);
}

/// A way from the root down, name by name.
class Way
{
  public:
    explicit Way(const std::string& path)
        : rest_(path)
        , at_(::open("/", lookFlags | O_DIRECTORY))
    {
        found_ = path.starts_with('/') && at_ && ::fstat(at_.get(), &status_) == 0;
        while (found_ && !rest_.empty())
            found_ = step(nextName());
    }

    /// It leads somewhere, over no link and no mount that others may have made.
    bool found() const { return found_; }
    /// Nobody but root may change what stands under any name on it.
    bool fixed() const { return fixed_; }
    const struct stat& status() const { return status_; } ///< of its end

  private:
    std::string nextName()
    {
        const std::size_t slash = rest_.find('/');
        const std::string name = rest_.substr(0, slash);
        rest_ = slash == std::string::npos ? "" : rest_.substr(slash + 1);
        return name;
    }

    bool step(const std::string& name)
    {
        if (name.empty() || name == ".")
            return true;
        UniqueFd next(::openat(at_.get(), name.c_str(), lookFlags));
        struct stat status = {};
        if (!next || ::fstat(next.get(), &status) != 0)
            return false;
        const bool sticky = status_.st_uid == 0 && (status_.st_mode & S_ISVTX) && status.st_uid == 0;
        const bool held = !othersWrite(status_) || sticky;
        fixed_ = fixed_ && held;
        if (S_ISLNK(status.st_mode))
            return held && turn(next.get());
        if (!held && status.st_dev != status_.st_dev)
            return false;
        at_ = std::move(next);
        status_ = status;
        return true;
    }

    /// Goes on where a link leads.
    bool turn(int link)
    {
        char target[PATH_MAX];
        const ssize_t length = ::readlinkat(link, "", target, sizeof target);
        if (length <= 0 || length == sizeof target || ++links_ > mostLinks)
            return false;
        rest_ = std::string(target, static_cast<std::size_t>(length)) + "/" + rest_;
        if (target[0] == '/')
            at_.reset(::open("/", lookFlags | O_DIRECTORY));
        return at_ && ::fstat(at_.get(), &status_) == 0;
    }

    std::string rest_;
    UniqueFd at_;
    struct stat status_ = {};
    int links_ = 0;
    bool found_ = false;
    bool fixed_ = true;
};

} // namespace

bool isRootsDirectory(const std::string& path)
{
    const Way way(path);
    return way.found() && way.fixed() && S_ISDIR(way.status().st_mode) && !othersWrite(way.status());
}

bool isRootsProgram(const std::string& path)
{
    const Way way(path);
    return way.found() && way.fixed() && S_ISREG(way.status().st_mode) && !othersWrite(way.status());
}

bool isRootsFile(const std::string& path, const struct stat& status)
{
    if (othersWrite(status))
        return false;
    const Way way(path);
    return way.found() && way.status().st_dev == status.st_dev && way.status().st_ino == status.st_ino &&
           (way.fixed() || status.st_gid == 0);
}

} // namespace base
