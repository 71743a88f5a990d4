#include "jobs/changingfile.h"

#include "base/plainfile.h"
#include "jobs/directory.h"

#include <ctime>
#include <utility>

namespace jobs {

namespace {

constexpr mode_t rootsMode = 0644;
constexpr mode_t groupMode = 0664;
constexpr mode_t permissions = 0666;

} // namespace

ChangingFile::ChangingFile(const std::string& path, std::string before, std::string after, bool rootsOwn)
    : directory_(openDirectoryOf(path))
    , name_(fileNameOf(path))
    , before_(std::move(before))
    , after_(std::move(after))
    , rootsOwn_(rootsOwn)
{
    struct stat status = {};
    if (directory_ && ::fstatat(directory_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        old_ = status;
}

bool ChangingFile::prepare(const std::string& text)
{
    if (!directory_ || name_.empty() || (rootsOwn_ && !isRootsAlone(directory_.get())))
        return false;
    const struct stat* kept = !rootsOwn_ && old_ && S_ISREG(old_->st_mode) ? &*old_ : nullptr;
    const mode_t mode = kept ? kept->st_mode & permissions : rootsOwn_ ? rootsMode : groupMode;
    file_.emplace(directory_.get(), name_, "." + name_ + ".new");
    return *file_ && file_->fill(text, mode, kept) && (!rootsOwn_ || makeNewer());
}

/// Cron takes a file whose time is of the same second for the one that it has read.
bool ChangingFile::makeNewer()
{
    constexpr std::time_t anHour = 3600; // beyond it, the clock was put back
    struct stat status = {};
    if (::fstatat(directory_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return true;
    const std::time_t now = std::time(nullptr);
    if (status.st_mtime < now || status.st_mtime > now + anHour)
        return true;
    const timespec time = {status.st_mtime + 1, 0};
    const timespec times[] = {time, time};
    return ::futimens(file_->fd(), times) == 0;
}

void ChangingFile::changeBack()
{
    if (!exists())
        ::unlinkat(directory_.get(), name_.c_str(), 0);
    else if (prepare(before_))
        change();
}

bool ChangingFile::isUpToDate() const
{
    if (!exists() || !S_ISREG(old_->st_mode) || old_->st_uid != 0 || (old_->st_mode & ALLPERMS) != rootsMode)
        return false;
    const base::UniqueFd file = base::openPlainFile(directory_.get(), name_.c_str(), O_RDONLY);
    const auto text = base::readAll(file.get(), after_.size());
    return text && text.value() == after_;
}

} // namespace jobs
