#include "tools/runasroot/fileactions.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

namespace runasroot {

namespace {

base::Error failure(std::string_view path, int code)
{
    return {code, std::string(path) + ": " + std::strerror(code)};
}

/// The directory that holds `path`, reached component by component.
base::UniqueFd openParent(std::string_view path)
{
    base::UniqueFd dir(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::size_t start = 1;
    for (std::size_t slash = path.find('/', start); dir && slash != path.npos;
         slash = path.find('/', start)) {
        const std::string name(path.substr(start, slash - start));
        dir.reset(::openat(dir.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        start = slash + 1;
    }
    return dir;
}

template <class Act>
base::Result<bool> onPlainFile(const char* path, bool create, Act act)
{
    auto file = openPlainFile(path, create);
    if (!file)
        return file.error();
    if (act(file.value().get()) != 0)
        return failure(path, errno);
    return true;
}

} // namespace

base::Result<base::UniqueFd> openPlainFile(const char* path, bool create)
{
    const base::UniqueFd parent = openParent(path);
    if (!parent)
        return failure(path, errno);
    const char* name = std::strrchr(path, '/') + 1;
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (create ? O_CREAT : 0);
    base::UniqueFd file(::openat(parent.get(), name, flags, 0644));
    if (!file)
        return failure(path, errno);
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        return failure(path, errno);
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1)
        return base::Error{EPERM, std::string(path) + ": not a plain file with one name"};
    return file;
}

base::Result<bool> allowWriting(const char* path, uid_t owner)
{
    return onPlainFile(path, false, [owner](int file) {
        struct stat status = {};
        if (::fstat(file, &status) != 0)
            return -1;
        errno = EPERM;
        const bool isSecret = status.st_uid == 0 && !(status.st_mode & S_IROTH);
        return status.st_uid == owner && !isSecret ? ::fchmod(file, 0666) : -1;
    });
}

base::Result<bool> touch(const char* path)
{
    return onPlainFile(path, true, [](int file) { return ::futimens(file, nullptr); });
}

} // namespace runasroot
