#include "installation/smallfile.h"

#include "base/uniquefd.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t readLimit = 65'536;

} // namespace

std::optional<std::string> readSmallFile(const char* path, Links links)
{
    // Without O_NONBLOCK a FIFO in the file's place would hang the start.
    const int noFollow = links == Links::Refuse ? O_NOFOLLOW : 0;
    const base::UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | noFollow));
    return file ? readSmallFile(file.get()) : std::nullopt;
}

std::optional<std::string> readSmallFile(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;

    std::string content(readLimit, '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const ssize_t count = read(fd, content.data() + length, content.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    content.resize(length);
    return content;
}
