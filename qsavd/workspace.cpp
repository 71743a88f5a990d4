#include "qsavd/workspace.h"

#include "base/rundirectory.h"
#include "qsavd/lockdown.h"
#include "qsavd/ownmount.h"
#include "qsavd/removetree.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view namePrefix = "qsavd-";

/// Where a work space may lie, the best place first.
std::vector<std::string> places()
{
    if (geteuid() != 0)
        return {"/dev/shm", "/tmp"};
    base::makeRunDirectory();
    return {paths::runDirectory, "/dev/shm", "/tmp"};
}

/// Root's service works as somebody else.
Identity owner()
{
    return geteuid() == 0 ? serviceIdentity() : Identity{geteuid(), getegid()};
}

base::UniqueFd openOf(uid_t user, const std::string& path)
{
    base::UniqueFd directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info = {};
    const bool good =
        directory && fstat(directory.get(), &info) == 0 && (info.st_uid == user || info.st_uid == geteuid());
    if (!good)
        directory.reset();
    return directory;
}

/// Deletes what a service left behind that is no more. One that begins at this moment cannot lock it
/// meanwhile, and takes another one.
void removeAbandoned(const std::string& path)
{
    const base::UniqueFd directory = openOf(owner().user, path);
    if (directory && flock(directory.get(), LOCK_EX | LOCK_NB) == 0)
        removeTree(path);
}

void sweep(const std::string& directory)
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(namePrefix))
            removeAbandoned(entry.path().string());
    }
}

} // namespace

base::Result<Workspace> Workspace::create()
{
    const std::vector<std::string> directories = places();
    std::for_each(directories.begin(), directories.end(), sweep);
    for (const std::string& directory : directories) {
        // Another service that starts now may sweep a directory away before it is locked.
        for (int attempt = 0; attempt < 10; ++attempt) {
            Workspace workspace;
            if (workspace.makeIn(directory))
                return workspace;
        }
    }
    return base::Error{errno, std::string("no temporary directory: ") + std::strerror(errno)};
}

bool Workspace::makeIn(const std::string& directory)
{
    std::string path = directory + "/" + std::string(namePrefix) + "XXXXXX";
    if (!mkdtemp(path.data()))
        return false;
    path_ = path;
    lock_ = openOf(geteuid(), path);
    struct stat info = {};
    return lock_ && flock(lock_.get(), LOCK_EX | LOCK_NB) == 0 && fstat(lock_.get(), &info) == 0 &&
           info.st_nlink > 0 && fchown(lock_.get(), owner().user, owner().group) == 0;
}

void Workspace::makePrivate(unsigned kilobytes) const
{
    mountOwn(path_, owner().user, owner().group, kilobytes);
}

Workspace::~Workspace()
{
    if (lock_)
        removeDirectory(path_);
}

std::string Workspace::addDirectory(unsigned number) const
{
    std::string path = path_ + "/" + std::to_string(number);
    if (mkdir(path.c_str(), 0700) != 0)
        return {};
    return path;
}

void Workspace::removeDirectory(const std::string& path)
{
    removeTree(path);
}

} // namespace qsavd
