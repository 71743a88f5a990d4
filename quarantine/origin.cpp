#include "quarantine/origin.h"

#include "base/systemerror.h"
#include "quarantine/record.h"

#include <fcntl.h>

namespace quarantine {

base::Result<Origin> openOrigin(const std::string& path)
{
    const base::Error notPlain{0, "where it was is no plain path"};
    if (!path.starts_with('/'))
        return base::Error{0, "where it was is not known"};
    base::UniqueFd directory(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::size_t start = 1;
    for (std::size_t slash; (slash = path.find('/', start)) != path.npos; start = slash + 1) {
        const std::string part = path.substr(start, slash - start);
        if (!isPlainName(part))
            return notPlain;
        const int flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC; // it need not be listed
        directory.reset(::openat(directory.get(), part.c_str(), flags));
        if (!directory)
            return base::Error{errno, path.substr(0, slash) + ": " + base::describeError(errno)};
    }
    directory.reset(::openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory)
        return base::systemError();
    std::string leaf = path.substr(start);
    if (!isPlainName(leaf))
        return notPlain;
    return Origin{std::move(directory), std::move(leaf)};
}

} // namespace quarantine
