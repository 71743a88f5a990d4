#include "jobs/directory.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace jobs {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/// Goes down step by step from `from`.
base::UniqueFd descend(base::UniqueFd from, const std::string& path)
{
    for (std::size_t at = 0; from && at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string step = path.substr(at, end - at);
        at = end + 1;
        if (!step.empty())
            from.reset(::openat(from.get(), step.c_str(),
                                directoryFlags | (isRootsAlone(from.get()) ? 0 : O_NOFOLLOW)));
    }
    return from;
}

} // namespace

base::UniqueFd openDirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (::geteuid() != 0)
        return base::UniqueFd(::open(directory.c_str(), directoryFlags));
    return descend(base::UniqueFd(::open(directory.starts_with('/') ? "/" : ".", directoryFlags)), directory);
}

std::string fileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1); // all of it when there is no slash
}

bool isRootsAlone(int directory)
{
    struct stat status = {};
    return ::fstat(directory, &status) == 0 && status.st_uid == 0 && !(status.st_mode & (S_IWGRP | S_IWOTH));
}

} // namespace jobs
