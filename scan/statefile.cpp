#include "scan/statefile.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr mode_t groupMode = 0664;

} // namespace

base::UniqueFd openStateFile(const char* path, int flags)
{
    const std::filesystem::path file(path);
    const std::filesystem::path directory = file.parent_path();
    const base::UniqueFd above(::open(directory.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const base::UniqueFd parent(
        ::openat(above.get(), directory.filename().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const std::filesystem::path name = file.filename();
    flags |= O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    base::UniqueFd fd(::openat(parent.get(), name.c_str(), flags));
    if (!fd && errno == ENOENT) {
        fd.reset(::openat(parent.get(), name.c_str(), flags | O_CREAT | O_EXCL, groupMode));
        if (fd)
            ::fchmod(fd.get(), groupMode); // whatever the umask took away
    }
    struct stat status = {};
    if (fd && (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1))
        fd.reset();
    return fd;
}
