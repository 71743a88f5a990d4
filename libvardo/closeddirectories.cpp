#include "libvardo/closeddirectories.h"

#include "base/uniquefd.h"
#include "libvardo/filesystem.h"

#include <algorithm>
#include <cerrno>
#include <tuple>

#include <fcntl.h>

namespace vardo {

bool ClosedDirectories::contain(const struct stat& status) const
{
    return std::any_of(paths_.begin(), paths_.end(), [&status](const std::string& path) {
        struct stat closed = {};
        return ::stat(path.c_str(), &closed) == 0 && closed.st_dev == status.st_dev &&
               closed.st_ino == status.st_ino;
    });
}

std::optional<bool> ClosedDirectories::hold(int directory) const
{
    constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    using Place = std::tuple<dev_t, ino_t, std::uint64_t>;
    struct stat status = {};
    Place inner = {};
    base::UniqueFd outer(::openat(directory, ".", flags));
    for (; outer && ::fstat(outer.get(), &status) == 0; outer.reset(::openat(outer.get(), "..", flags))) {
        if (contain(status))
            return true;
        const Place place(status.st_dev, status.st_ino, mountOf(outer.get(), status));
        if (std::exchange(inner, place) == place)
            return false; // the root is its own parent
    }
    return !outer && (errno == EMFILE || errno == ENFILE) ? std::nullopt : std::optional(false);
}

} // namespace vardo
