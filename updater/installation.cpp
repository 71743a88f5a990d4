#include "updater/installation.h"

#include "base/databasename.h"
#include "base/signaturefolder.h"
#include "base/systemerror.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace updater {

namespace fs = std::filesystem;

namespace {

constexpr char stateSuffix[] = ".update";
constexpr char freshSuffix[] = ".new";
constexpr char lockFile[] = "lock";
constexpr char nextName[] = "next";
constexpr unsigned readableByAll = 0755;

base::Error failure(const std::string& path)
{
    const int code = errno;
    return {code, path + ": " + base::describeError(code)};
}

base::Error notRoots(const std::string& path)
{
    return {EPERM, path + ": others than root can change what lies there"};
}

/// Opens the directory that `path` lies in, making what is missing.
base::Result<base::UniqueFd> openParent(const fs::path& path)
{
    std::error_code ignored;
    fs::create_directories(path.parent_path(), ignored);
    base::UniqueFd parent = openFolder(AT_FDCWD, path.parent_path());
    if (!parent)
        return failure(path.parent_path());
    if (!isRootsAlone(parent.get()))
        return notRoots(path.parent_path());
    return parent;
}

/// The place of `directory` behind links: an administrator may keep the signatures elsewhere.
fs::path place(const std::string& directory)
{
    std::error_code error;
    const fs::path real = fs::weakly_canonical(directory, error);
    return error ? fs::path(directory) : real;
}

bool syncFolder(int directory)
{
    return ::fsync(directory) == 0;
}

bool isSameFile(int oneFolder, int otherFolder, const std::string& name)
{
    struct stat one = {};
    struct stat other = {};
    return ::fstatat(oneFolder, name.c_str(), &one, AT_SYMLINK_NOFOLLOW) == 0 &&
           ::fstatat(otherFolder, name.c_str(), &other, AT_SYMLINK_NOFOLLOW) == 0 &&
           one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

/// True for a file of one of these databases.
bool isOneOf(const std::string& name, const Versions& databases)
{
    const auto database = base::databaseOf(name);
    return database && databases.contains(*database);
}

/// Gives `name` of `from` the same name in `to`, over what is there.
bool linkOver(int from, const std::string& name, int to)
{
    const std::string fresh = "." + name + freshSuffix;
    ::unlinkat(to, fresh.c_str(), 0);
    const bool done = ::linkat(from, name.c_str(), to, fresh.c_str(), 0) == 0 &&
                      ::renameat(to, fresh.c_str(), to, name.c_str()) == 0;
    ::unlinkat(to, fresh.c_str(), 0); // stays when both names were the same file already
    return done;
}

bool never()
{
    return false;
}

} // namespace

Versions versionsIn(int directory)
{
    Versions versions;
    for (const std::string& name : namesIn(directory)) {
        const auto database = base::databaseOf(name);
        if (!database || !isFile(directory, name))
            continue;
        const base::UniqueFd file(::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        unsigned& version = versions[*database];
        version = std::max(version, file ? base::databaseVersion(file.get()).value_or(0) : 0);
    }
    return versions;
}

std::string fileOf(const std::string& database, int directory)
{
    std::string found;
    for (const std::string_view ending : base::databaseEndings) {
        const std::string name = database + std::string(ending);
        if (!isFile(directory, name))
            continue;
        if (!found.empty())
            return {};
        found = name;
    }
    return found;
}

base::Result<Installation> Installation::open(const Settings& settings)
{
    const fs::path live = place(settings.signatures);
    const fs::path backup = place(settings.backup);
    auto parent = openParent(live);
    auto backupParent = openParent(backup);
    if (!parent || !backupParent)
        return parent ? backupParent.error() : parent.error();
    Installation installation;
    installation.name_ = live.filename();
    installation.backupName_ = backup.filename();
    installation.parent_ = std::move(parent).value();
    installation.backupParent_ = std::move(backupParent).value();
    const int folder = installation.parent_.get();
    installation.live_ = makeFolder(folder, installation.name_, readableByAll);
    if (!installation.live_)
        return failure(live);
    installation.state_ = makeFolder(folder, installation.name_ + stateSuffix, readableByAll);
    if (!installation.state_)
        return failure(live.string() + stateSuffix);
    for (const int directory : {installation.live_.get(), installation.state_.get()}) {
        if (!isRootsAlone(directory))
            return notRoots(live.string());
    }
    return installation;
}

Installation::Lock Installation::lock()
{
    lock_.reset(
        ::openat(state_.get(), lockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (!lock_)
        return Lock::Failed;
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0)
        return Lock::Taken;
    return errno == EWOULDBLOCK ? Lock::Busy : Lock::Failed;
}

void Installation::sweep()
{
    if (::faccessat(live_.get(), base::installMarker, F_OK, AT_SYMLINK_NOFOLLOW) == 0)
        finishByFiles();
    else
        removeTree(live_.get(), base::nextSet);
    removeTree(state_.get(), nextName);
    removeTree(backupParent_.get(), backupName_ + freshSuffix);
    for (const std::string& name : namesIn(state_.get())) {
        if (name.ends_with(freshSuffix))
            ::unlinkat(state_.get(), name.c_str(), 0);
    }
}

base::Result<base::UniqueFd> Installation::beginNext()
{
    removeTree(state_.get(), nextName);
    next_ = makeFolder(state_.get(), nextName, readableByAll);
    base::UniqueFd own = next_ ? openFolder(state_.get(), nextName) : base::UniqueFd();
    if (!own)
        return failure("the directory of the new signatures");
    return own;
}

void Installation::dropNext()
{
    removeTree(state_.get(), nextName);
}

base::Result<bool> Installation::backUp(const Interrupted& interrupted)
{
    const std::string fresh = backupName_ + freshSuffix;
    const int parent = backupParent_.get();
    removeTree(parent, fresh);
    const base::UniqueFd folder = makeFolder(parent, fresh, readableByAll);
    if (!folder)
        return failure("the backup");
    for (const std::string& name : namesIn(live_.get())) {
        const bool isDatabase = base::databaseOf(name) && isFile(live_.get(), name);
        if (isDatabase && !linkOrCopy(live_.get(), name, folder.get(), interrupted))
            return failure("the backup of " + name);
    }
    syncFolder(folder.get());
    // One of the two names is always that of a whole backup.
    if (::renameat2(parent, fresh.c_str(), parent, backupName_.c_str(), RENAME_EXCHANGE) != 0) {
        if (errno != ENOENT)
            removeTree(parent, backupName_);
        if (::renameat(parent, fresh.c_str(), parent, backupName_.c_str()) != 0)
            return failure("the backup");
    }
    syncFolder(parent);
    removeTree(parent, fresh);
    return true;
}

base::Result<base::UniqueFd> Installation::openBackup() const
{
    base::UniqueFd backup = openFolder(backupParent_.get(), backupName_);
    if (!backup || !isRootsAlone(backup.get()) || versionsIn(backup.get()).empty())
        return base::Error{ENOENT, "There are no earlier signatures to go back to."};
    return backup;
}

base::Result<bool> Installation::putInPlace(const Versions& replaced)
{
    if (!carryOver(replaced) || !syncFolder(next_.get()) || !syncFolder(state_.get()))
        return failure("the new signatures");
    const bool exchanged =
        ::renameat2(parent_.get(), name_.c_str(), state_.get(), nextName, RENAME_EXCHANGE) == 0;
    if (!exchanged) { // a mount point, or a file system that cannot
        if (const auto done = putInPlaceByFiles(); !done)
            return done;
    } else {
        syncFolder(parent_.get());
        syncFolder(state_.get());
        std::swap(live_, next_);
        carryRest(replaced);
    }
    dropNext();
    return true;
}

bool Installation::carryOver(const Versions& replaced)
{
    const std::vector<std::string> names = namesIn(live_.get());
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        struct stat status = {};
        const bool gone = ::fstatat(live_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0;
        return gone || S_ISDIR(status.st_mode) || isOneOf(name, replaced) ||
               linkOrCopy(live_.get(), name, next_.get(), never);
    });
}

/// What was added or changed meanwhile, and directories, which have one name only.
void Installation::carryRest(const Versions& replaced)
{
    for (const std::string& name : namesIn(next_.get())) {
        const bool carried = isOneOf(name, replaced) || isSameFile(next_.get(), live_.get(), name);
        if (!carried && name != base::nextSet)
            ::renameat(next_.get(), name.c_str(), live_.get(), name.c_str());
    }
}

base::Result<bool> Installation::putInPlaceByFiles()
{
    removeTree(live_.get(), base::nextSet);
    const base::UniqueFd inner = makeFolder(live_.get(), base::nextSet, readableByAll);
    if (!inner)
        return failure("the new signatures");
    for (const std::string& name : namesIn(next_.get())) {
        if (!linkOrCopy(next_.get(), name, inner.get(), never))
            return failure("the new signatures: " + name);
    }
    syncFolder(inner.get());
    const base::UniqueFd marker(
        ::openat(live_.get(), base::installMarker, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!marker || !syncFolder(live_.get()) || !finishByFiles())
        return failure("the new signatures");
    return true;
}

bool Installation::finishByFiles()
{
    const base::UniqueFd inner = openFolder(live_.get(), base::nextSet);
    if (!inner)
        return false;
    const std::vector<std::string> names = namesIn(inner.get());
    const std::set<std::string> wanted(names.begin(), names.end());
    for (const std::string& name : names) {
        if (!linkOver(inner.get(), name, live_.get()))
            return false;
    }
    for (const std::string& name : namesIn(live_.get())) {
        if (base::databaseOf(name) && !wanted.contains(name))
            ::unlinkat(live_.get(), name.c_str(), 0);
    }
    const bool done = syncFolder(live_.get()) && ::unlinkat(live_.get(), base::installMarker, 0) == 0 &&
                      syncFolder(live_.get());
    return removeTree(live_.get(), base::nextSet) && done;
}

} // namespace updater
