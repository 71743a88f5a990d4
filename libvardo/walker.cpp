#include "libvardo/walker.h"

#include "base/pathof.h"
#include "base/systemerror.h"
#include "engine/interface.h"
#include "libvardo/filesystem.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::size_t openLevels = 32;         // innermost levels that keep their descriptor
constexpr unsigned linkedLevels = 40;          // links to directories inside each other
constexpr std::size_t longestPath = 64 * 1024; // bounds what the items of a hostile tree take
constexpr std::size_t mostVisited = 1'000'000; // directories, while links are followed
constexpr unsigned mostStuck = 2;              // calls that were given up in a directory before it is left
constexpr char closedRemark[] = "not scanned: it is in quarantine";
constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int lookFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;

std::pair<std::string, std::string> splitPath(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return {".", path};
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

/// Reading is not to show in the access time, where that is allowed: to root, and to the owner.
base::UniqueFd openUnseen(int directory, const char* name, int flags)
{
    base::UniqueFd fd(::openat(directory, name, flags & O_PATH ? flags : flags | O_NOATIME));
    if (!fd && errno == EPERM && !(flags & O_PATH))
        fd.reset(::openat(directory, name, flags));
    return fd;
}

} // namespace

Walker::Walker(ScanPipeline& pipeline, CallWatch& watch, WalkOptions options)
    : pipeline_(pipeline)
    , watch_(watch)
    , remembering_(pipeline.remembering())
    , clean_(std::make_shared<ScanOutcome>(Verdict{SCANSTAT_CLEAN, {}, {}, {}}))
    , options_(std::move(options))
{
}

void Walker::walk(std::string object)
{
    while (object.size() > 1 && object.back() == '/')
        object.pop_back();
    walkChosen(std::move(object));
    walkLevels();
}

void Walker::goOn(const std::string& remark)
{
    fail(present_, remark);
    Level* level = levels_.empty() ? nullptr : &levels_.back();
    const bool lost = level && !level->directory; // it was to be found again, and is what was just told of
    if (level && (lost || ++level->stuck == mostStuck) && level->next < level->names.size()) {
        level->next = level->names.size();
        if (!lost)
            fail(path_, "not wholly scanned: it does not answer");
    }
    walkLevels();
}

void Walker::walkChosen(std::string object)
{
    present_ = object;
    const base::UniqueFd chosen = openAt(AT_FDCWD, object.c_str(), O_PATH | O_CLOEXEC);
    struct stat status = {};
    if (!chosen || !getStatus(chosen.get(), status))
        return fail(object, base::describeError(errno));
    if (watch_.run([&chosen] { return isPseudoFileSystem(chosen.get()); }))
        return fail(object, "not scanned: it shows the state of the system and holds no files");

    if (S_ISDIR(status.st_mode)) {
        if (options_.directories.excludes(object, status))
            return;
        if (isClosed(chosen.get()))
            return fail(object, closedRemark);
        startMount_ = watch_.run([&] { return mountOf(chosen.get(), status); });
        base::UniqueFd directory = openAt(chosen.get(), ".", directoryFlags);
        if (!directory)
            return fail(object, base::describeError(errno));
        return enter(std::move(directory), status, object, false);
    }
    if (!S_ISREG(status.st_mode))
        return fail(object, "not scanned: not a regular file");

    struct stat entry = {};
    if (watch_.run([&] { return ::lstat(object.c_str(), &entry) == 0; }) && S_ISLNK(entry.st_mode))
        return visitTarget(chosen.get(), status, object, Reached::ByName);
    visitPath(object, Reached::ByName);
}

void Walker::walkLevels()
{
    while (!levels_.empty() && !pipeline_.stopped()) {
        Level& level = levels_.back();
        if (level.next == level.names.size())
            leave();
        else
            visit(level.names[level.next++]);
    }
    levels_.clear();
    pinned_ = 0;
}

void Walker::visit(const char* name)
{
    const Level& level = levels_.back();
    const Directory directory = level.directory;
    const std::string path = childPath(name);
    present_ = path;
    struct stat status = {};
    const auto look = [&] {
        return ::fstatat(directory->get(), name, &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) == 0;
    };
    if (!watch_.run(look)) {
        if (errno != ENOENT) // gone meanwhile: nothing is left to scan
            fail(path, base::describeError(errno));
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        if (goesDeeper())
            visitDirectory(name, path, false);
    } else if (S_ISREG(status.st_mode)) {
        if (!wanted(name, status) || reached_.contains({level.id.device, level.id.inode, name}))
            return;
        if (remembering_.knows(Remembering::keyOf(level.fileSystem, status)))
            pushRemembered(path);
        else
            visitFile(directory, level.id.device, name, path);
    } else if (S_ISLNK(status.st_mode) && options_.followLinks) {
        visitLink(directory, name, path);
    }
}

void Walker::visitLink(const Directory& directory, const char* name, const std::string& path)
{
    const base::UniqueFd target = openAt(directory->get(), name, O_PATH | O_CLOEXEC);
    struct stat status = {};
    if (!target || !getStatus(target.get(), status)) {
        if (errno != ENOENT && errno != ELOOP) // a link that leads nowhere
            fail(path, base::describeError(errno));
    } else if (S_ISDIR(status.st_mode)) {
        if (goesDeeper() && !isClosed(target.get()))
            visitDirectory(name, path, true);
    } else if (S_ISREG(status.st_mode)) {
        visitTarget(target.get(), status, path, Reached::ByLink);
    }
}

/// A file behind a link is passed over or reported, and acted upon, under its own path: the link is not the
/// file.
void Walker::visitTarget(int target, const struct stat& status, const std::string& link, Reached how)
{
    const base::Result<std::string> path = base::pathOf(target);
    if (!path)
        return fail(link, path.error().text);
    if (how == Reached::ByName || wanted(splitPath(path.value()).second, status))
        visitPath(path.value(), how);
}

void Walker::visitPath(const std::string& path, Reached how)
{
    const auto [directory, leaf] = splitPath(path);
    const auto parent = std::make_shared<base::UniqueFd>(
        openAt(AT_FDCWD, directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status = {};
    if (!*parent || !getStatus(parent->get(), status))
        return fail(path, base::describeError(errno));
    if (isClosed(parent->get()))
        return how == Reached::ByName ? fail(path, closedRemark) : void();
    if (how == Reached::ByLink && !staysInside(parent->get(), status, path))
        return;
    const bool first = isFirst(status, leaf);
    if (first || how == Reached::ByName)
        visitFile(parent, status.st_dev, leaf, path);
}

/// With links followed there may be several ways to one file. Its directory comes, or came, with all its
/// files.
bool Walker::isFirst(const struct stat& directory, const std::string& leaf)
{
    if (!options_.followLinks)
        return true;
    if (visited_.contains({directory.st_dev, directory.st_ino}))
        return false;
    return reached_.size() >= mostVisited ||
           reached_.emplace(directory.st_dev, directory.st_ino, leaf).second;
}

void Walker::visitDirectory(const char* name, const std::string& path, bool byLink)
{
    // Looked at before it is opened for reading: opening a waiting automount would mount it.
    const int flags = byLink ? O_PATH | O_CLOEXEC : lookFlags;
    const base::UniqueFd looked = openAt(levels_.back().directory->get(), name, flags);
    struct stat status = {};
    if (!looked || !getStatus(looked.get(), status)) {
        if (errno != ENOENT)
            fail(path, base::describeError(errno));
        return;
    }
    if (options_.directories.excludes(path, status) ||
        watch_.run([&] { return options_.closed.contain(status); }) ||
        !staysInside(looked.get(), status, path))
        return;
    if (path.size() > longestPath || (byLink && pinned_ >= linkedLevels))
        return fail(path, "not scanned: directories are nested too deeply");
    base::UniqueFd directory = openAt(looked.get(), ".", directoryFlags);
    if (!directory)
        return fail(path, base::describeError(errno));
    enter(std::move(directory), status, path, byLink);
}

void Walker::enter(base::UniqueFd directory, const struct stat& status, const std::string& path, bool byLink)
{
    if (options_.followLinks && !firstVisit(status, byLink, path))
        return;
    base::UniqueFd stream = openAt(directory.get(), ".", directoryFlags);
    if (!stream)
        return fail(path, base::describeError(errno));
    base::Result<NameList> names = NameList::read(std::move(stream), pipeline_.stopped(), watch_);
    if (!names)
        return fail(path, names.error().text);

    Level level;
    level.directory = std::make_shared<base::UniqueFd>(std::move(directory));
    level.id = fileId(status);
    level.names = std::move(names).value();
    level.fileSystem = remembering_.fileSystemOf(level.directory->get(), status, watch_);
    level.pathLength = path_.size();
    level.byLink = byLink;
    levels_.push_back(std::move(level));
    path_ = path;
    pinned_ += byLink;
    // The level around a linked directory cannot be found again through "..", so it stays open.
    if (levels_.size() > openLevels && !levels_[levels_.size() - openLevels].byLink)
        levels_[levels_.size() - openLevels - 1].directory.reset();

    ScanItem item;
    item.kind = ScanItem::Kind::Directory;
    item.name = path;
    pipeline_.push(std::move(item));
}

/// With links followed there may be many ways to one directory, and loops; only the first counts.
bool Walker::firstVisit(const struct stat& status, bool byLink, const std::string& path)
{
    if (visited_.size() < mostVisited)
        return visited_.emplace(status.st_dev, status.st_ino).second;
    if (byLink)
        fail(path, "not scanned: too many directories to follow links safely");
    return !byLink;
}

void Walker::leave()
{
    const Level left = std::move(levels_.back());
    levels_.pop_back();
    path_.resize(left.pathLength);
    pinned_ -= left.byLink;
    if (levels_.empty() || levels_.back().directory)
        return;
    Level& level = levels_.back();
    present_ = path_;
    base::Result<base::UniqueFd> directory = reopen(level, left.directory);
    if (directory) {
        level.directory = std::make_shared<base::UniqueFd>(std::move(directory).value());
        struct stat status = {};
        level.fileSystem.reset(); // meanwhile it was not held
        if (getStatus(level.directory->get(), status))
            level.fileSystem = remembering_.fileSystemOf(level.directory->get(), status, watch_);
    } else if (level.next < level.names.size()) {
        level.next = level.names.size();
        fail(path_, "not wholly scanned: it was moved meanwhile");
    }
}

base::Result<base::UniqueFd> Walker::reopen(const Level& level, const Directory& child)
{
    if (!child)
        return base::systemError(ESTALE);
    base::UniqueFd directory = openAt(child->get(), "..", directoryFlags);
    struct stat status = {};
    if (!directory || !getStatus(directory.get(), status))
        return base::systemError();
    if (status.st_dev != level.id.device || status.st_ino != level.id.inode)
        return base::systemError(ESTALE);
    return directory;
}

bool Walker::wanted(const std::string& name, const struct stat& status) const
{
    return options_.extensions.passes(name) &&
           (!options_.maxSize || static_cast<std::uint64_t>(status.st_size) <= *options_.maxSize);
}

bool Walker::goesDeeper() const
{
    return options_.recurse && (!options_.maxDepth || levels_.size() <= *options_.maxDepth);
}

bool Walker::staysInside(int directory, const struct stat& status, const std::string& path)
{
    if (watch_.run([&] { return mountOf(directory, status); }) == startMount_)
        return true;
    if (watch_.run([directory] { return isPseudoFileSystem(directory); }))
        return false;
    if (options_.crossFileSystems)
        return true;
    ScanItem item;
    item.kind = ScanItem::Kind::NotEntered;
    item.name = path;
    pipeline_.push(std::move(item));
    return false;
}

bool Walker::isClosed(int directory)
{
    for (;;) {
        const auto held = watch_.run([this, directory] { return options_.closed.hold(directory); });
        if (held || !pipeline_.waitForRoom())
            return held.value_or(true);
    }
}

bool Walker::getStatus(int fd, struct stat& status)
{
    return watch_.run([fd, &status] { return ::fstat(fd, &status) == 0; });
}

void Walker::fail(const std::string& path, const std::string& remark)
{
    ScanItem item;
    item.name = path;
    item.outcome = std::make_shared<ScanOutcome>(Verdict{SCANSTAT_ERROR, {}, {}, remark});
    pipeline_.push(std::move(item));
}

std::string Walker::childPath(const char* name) const
{
    return path_ == "/" ? "/" + std::string(name) : path_ + "/" + name;
}

/// openat that waits for descriptors to come free when the process has used up its share.
base::UniqueFd Walker::openAt(int directory, const char* name, int flags)
{
    for (;;) {
        base::UniqueFd fd = watch_.run([=] { return openUnseen(directory, name, flags); });
        const int code = errno;
        if (fd || (code != EMFILE && code != ENFILE) || !pipeline_.waitForRoom()) {
            errno = code;
            return fd;
        }
    }
}

} // namespace vardo
