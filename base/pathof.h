#pragma once

#include "base/systemerror.h"

#include <climits>
#include <string>

#include <unistd.h>

namespace base {

/// The path that the kernel knows the object open as `fd` by, without links. It may lead elsewhere by now.
inline Result<std::string> pathOf(int fd)
{
    std::string path(PATH_MAX, '\0');
    const ssize_t length =
        ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path.data(), path.size());
    if (length < 0)
        return systemError();
    if (path[0] != '/' || static_cast<std::size_t>(length) >= path.size())
        return systemError(ENAMETOOLONG);
    path.resize(static_cast<std::size_t>(length));
    return path;
}

} // namespace base
