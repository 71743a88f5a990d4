#include "qsavd/workspace.h"

#include "qsavd/lockdown.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view namePrefix = "qsavd-";

std::string baseDirectory()
{
    return access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
}

/// Root's service works as somebody else.
uid_t owner()
{
    return geteuid() == 0 ? serviceIdentity().user : geteuid();
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

bool isAbandoned(const std::string& path)
{
    const base::UniqueFd directory = openOf(owner(), path);
    return directory && flock(directory.get(), LOCK_EX | LOCK_NB) == 0;
}

void sweep(const std::string& directory)
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(namePrefix) && isAbandoned(entry.path().string()))
            fs::remove_all(entry.path(), ignored);
    }
}

} // namespace

base::Result<Workspace> Workspace::create()
{
    const std::string directory = baseDirectory();
    sweep(directory);
    // Another service that starts now may sweep a directory away before it is locked.
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::string path = directory + "/" + std::string(namePrefix) + "XXXXXX";
        if (!mkdtemp(path.data()))
            break;
        Workspace workspace;
        workspace.lock_ = openOf(geteuid(), path);
        struct stat info = {};
        if (workspace.lock_ && flock(workspace.lock_.get(), LOCK_EX | LOCK_NB) == 0 &&
            fstat(workspace.lock_.get(), &info) == 0 && info.st_nlink > 0) {
            if (fchown(workspace.lock_.get(), owner(), static_cast<gid_t>(-1)) != 0)
                break;
            workspace.path_ = path;
            return workspace;
        }
    }
    return base::Error{errno, "no temporary directory in " + directory + ": " + std::strerror(errno)};
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
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

} // namespace qsavd
