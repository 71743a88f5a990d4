#include "quarantine/remove.h"

#include "base/pathof.h"
#include "base/systemerror.h"
#include "base/uniquefd.h"
#include "quarantine/newfile.h"
#include "quarantine/storedirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quarantine {

namespace {

constexpr std::string_view asidePrefix = ".vardo-delete-";
constexpr int mostNames = 1024;

using IsIt = std::function<bool(const struct stat&)>;

/// What is made in a directory to which one may only add would stay there.
bool keepsEverything(int directory)
{
    struct statx status = {};
    return ::statx(directory, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_APPEND);
}

/// A directory that only we may enter, in one where others may do what they like. It goes with this object
/// if it is empty.
class Aside
{
  public:
    explicit Aside(int parent)
        : parent_(parent)
        , name_(std::string(asidePrefix) + randomDigits())
    {
        if (keepsEverything(parent) || ::mkdirat(parent, name_.c_str(), 0700) != 0)
            return;
        made_ = true;
        base::UniqueFd opened(
            ::openat(parent, name_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        struct stat status = {};
        const bool isPrivate = opened && ::fstat(opened.get(), &status) == 0 &&
                               status.st_uid == ::geteuid() && !(status.st_mode & 0077);
        if (isPrivate)
            directory_ = std::move(opened);
    }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
    ~Aside()
    {
        if (made_)
            ::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR);
    }

    explicit operator bool() const { return bool(directory_); }
    int directory() const { return directory_.get(); }

  private:
    const int parent_;
    const std::string name_;
    bool made_ = false;
    base::UniqueFd directory_;
};

base::Error anotherOne()
{
    return {ESTALE, "the file changed after it was scanned"};
}

base::Result<bool> removeAtOnce(int directory, const std::string& name, const IsIt& isIt)
{
    struct stat status = {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return base::systemError();
    if (!isIt(status))
        return anotherOne();
    if (::unlinkat(directory, name.c_str(), 0) != 0)
        return base::systemError();
    return true;
}

base::Result<bool> removeMoved(const Aside& aside, int directory, const std::string& name, const IsIt& isIt)
{
    const auto removed = removeAtOnce(aside.directory(), name, isIt);
    if (removed)
        return removed;
    const auto back = moveBack(aside.directory(), name, directory, name);
    if (back && back.value() != name)
        return base::Error{removed.error().code,
                           removed.error().text + "; what took its place is now named " + back.value()};
    return back ? removed : back.error();
}

/// A directory that a killed process left goes with its last file.
void sweepAside(int directory)
{
    const auto path = base::pathOf(directory);
    if (path && path.value().substr(path.value().rfind('/') + 1).starts_with(asidePrefix))
        ::rmdir(path.value().c_str());
}

} // namespace

base::Result<std::string> moveBack(int fromDirectory, const std::string& from, int directory,
                                   const std::string& name)
{
    base::Error error;
    for (int number = -1; number < mostNames; ++number) {
        std::string free = seriesName(name, number);
        const auto moved = moveNoReplace(fromDirectory, from, directory, free);
        if (moved)
            return free;
        error = moved.error();
        if (error.code != EEXIST)
            break;
    }
    return error;
}

base::Result<bool> removeChecked(int directory, const std::string& name, const IsIt& isIt)
{
    const Aside aside(directory);
    const bool moved = aside && moveNoReplace(directory, name, aside.directory(), name);
    const auto removed =
        moved ? removeMoved(aside, directory, name, isIt) : removeAtOnce(directory, name, isIt);
    if (removed)
        sweepAside(directory);
    return removed;
}

} // namespace quarantine
