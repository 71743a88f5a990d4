#include "installation/instanceguard.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "installation/smallfile.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t guardMode = 0666; // less the umask
constexpr int lockAttempts = 100;
constexpr useconds_t lockPause = 1000; // microseconds

/// The number that the text begins with, after white space and perhaps a sign; nothing when there is none or
/// it is too long for a process id.
std::optional<int> leadingNumber(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    int number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return parsed.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::optional<int> numberIn(int guard)
{
    const std::optional<std::string> content = readSmallFile(guard);
    return content ? leadingNumber(*content) : std::nullopt;
}

base::UniqueFd openGuard(int flags)
{
    return base::UniqueFd(open(paths::guardFile, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

bool isLive(std::optional<int> process)
{
    struct stat status;
    return process && stat(("/proc/" + std::to_string(*process)).c_str(), &status) == 0;
}

bool isStillGuard(int fd)
{
    struct stat opened;
    struct stat named;
    return fstat(fd, &opened) == 0 && lstat(paths::guardFile, &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

/// Removes the stale guard file that is open as `fd`. False when the name has come to stand for
/// another file, which somebody else has just written.
bool removeStale(int fd)
{
    // Two starts that find the same stale file take turns, or the second would remove the new file of
    // the first. A lock that stays with somebody must not keep the program from starting.
    for (int i = 0; i < lockAttempts && flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; ++i)
        usleep(lockPause);
    if (!isStillGuard(fd))
        return false;
    unlink(paths::guardFile);
    return true;
}

/// Makes the guard file appear whole or not at all, in the place of none.
bool createGuard(const std::string& content)
{
    const std::string draft = paths::guardFile + ("." + content);
    unlink(draft.c_str());
    const base::UniqueFd file(open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, guardMode));
    if (!file)
        return false;
    const bool done = base::writeAll(file.get(), content) && link(draft.c_str(), paths::guardFile) == 0;
    unlink(draft.c_str());
    return done;
}

/// Writes into a stale guard file that could not be removed, but may be written.
bool overwriteGuard(const std::string& content)
{
    if (isLive(numberIn(openGuard(O_RDONLY).get())))
        return false;
    const base::UniqueFd file = base::openPlainFile(AT_FDCWD, paths::guardFile, O_WRONLY);
    return file && ftruncate(file.get(), 0) == 0 && base::writeAll(file.get(), content);
}

} // namespace

bool isRunning()
{
    for (;;) {
        const base::UniqueFd guard = openGuard(O_RDONLY);
        if (!guard) {
            if (errno == ELOOP)
                unlink(paths::guardFile);
            return false;
        }
        if (isLive(numberIn(guard.get())))
            return true;
        if (removeStale(guard.get()))
            return false;
    }
}

char createPIDFile()
{
    const std::string content = std::to_string(getpid());
    return createGuard(content) || overwriteGuard(content) ? 0 : static_cast<char>(-1);
}

void remPIDFile()
{
    if (numberIn(openGuard(O_RDONLY).get()) == getpid())
        unlink(paths::guardFile);
}
