#include "quarantine/storedirectory.h"

#include "quarantine/record.h"

#include <cerrno>
#include <climits>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace quarantine {

namespace {

constexpr int mostLinks = 8;

/// Where root's link at `path` leads; nothing, with errno set, when there is no such link.
std::optional<std::string> rootsLink(const std::string& path)
{
    const base::UniqueFd link(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!link || ::fstat(link.get(), &status) != 0)
        return std::nullopt;
    std::string target(PATH_MAX, '\0');
    const ssize_t length = S_ISLNK(status.st_mode) && status.st_uid == 0
                               ? ::readlinkat(link.get(), "", target.data(), target.size())
                               : 0;
    if (length <= 0) {
        errno = ENOTDIR;
        return std::nullopt;
    }
    target.resize(static_cast<std::size_t>(length));
    return target.front() == '/' ? target : path.substr(0, path.rfind('/') + 1) + target;
}

} // namespace

base::UniqueFd openStore(std::string path, int access)
{
    for (int links = 0;; ++links) {
        while (path.size() > 1 && path.back() == '/') // behind which any link would be followed
            path.pop_back();
        base::UniqueFd directory(::open(path.c_str(), access | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (directory || errno != ENOTDIR || links == mostLinks)
            return directory;
        std::optional<std::string> target = rootsLink(path);
        if (!target)
            return {};
        path = std::move(*target);
    }
}

bool isGone(int directory, const std::string& name)
{
    struct stat status = {};
    return !isPlainName(name) || (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 &&
                                  (errno == ENOENT || errno == ENAMETOOLONG));
}

std::string seriesName(const std::string& stem, int number, const std::string& end)
{
    const std::string tail = (number < 0 ? "" : "-" + std::to_string(number)) + end;
    return stem.substr(0, NAME_MAX - tail.size()) + tail;
}

} // namespace quarantine
