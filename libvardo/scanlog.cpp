#include "libvardo/scanlog.h"

#include "base/character.h"
#include "base/paths.h"
#include "base/plainfile.h"
#include "base/systemerror.h"
#include "engine/interface.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// An open log. A full disk costs lines of the log and nothing else.
struct ScanLog
{
    base::UniqueFd fd;
    unsigned level;
    std::string failure; ///< why the first line that is missing could not be written

    /// Nothing is held back: a message that waits in memory is lost to whoever watches the log, and to
    /// everybody when the program is killed. What fits in part only is taken back: the next message, when
    /// there is room again, would make one line with it that tells of a file that nobody scanned.
    void write(std::string_view text)
    {
        const off_t start = ::lseek(fd.get(), 0, SEEK_END);
        if (base::writeAll(fd.get(), text))
            return;
        if (failure.empty())
            failure = base::describeError(errno);
        (void)!::ftruncate(fd.get(), start);
    }
};

// The one log behind LogMe, which takes no object.
std::mutex logMutex;
std::optional<ScanLog> currentLog;
std::string lastFailure; // of the log that was closed last

/// DIRECTORY/vardo, made when missing with the mode that lets the whole group log there.
base::UniqueFd openLogFolder(const std::string& directory)
{
    const base::UniqueFd parent(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const bool made = parent && ::mkdirat(parent.get(), paths::logFolder, 0775) == 0;
    base::UniqueFd folder = base::openFolder(parent.get(), paths::logFolder, O_RDONLY);
    struct stat status = {};
    if (made && folder && ::fstat(folder.get(), &status) == 0 && status.st_uid == ::geteuid())
        ::fchmod(folder.get(), (status.st_mode & S_ISGID) | 0775); // whatever the umask took away
    return folder;
}

base::UniqueFd createLogFile(const std::string& directory)
{
    const base::UniqueFd folder = openLogFolder(directory);
    const std::time_t now = std::time(nullptr);
    struct tm local = {};
    ::localtime_r(&now, &local);
    char stem[32];
    std::strftime(stem, sizeof stem, "scan-%Y%m%d-%H%M%S", &local);

    base::UniqueFd fd;
    for (int n = 0; folder && !fd && n < 1000 && (n == 0 || errno == EEXIST); ++n) {
        char again[16] = "";
        if (n > 0) // a letter, as each list of names has it behind the dot of the first one
            std::snprintf(again, sizeof again, "x%03d", n);
        const std::string name = std::string(stem) + again + ".log";
        fd.reset(::openat(folder.get(), name.c_str(),
                          O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640));
    }
    return fd;
}

std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

/// How many of the line ends that `text` ends in are its own: those that `format` ends in, or one of a whole
/// line that came through "%s".
std::size_t lineEnds(std::string_view text, std::string_view format)
{
    const std::size_t own = format.size() - (format.find_last_not_of('\n') + 1);
    return own == 0 && text.ends_with('\n') ? 1 : own;
}

void appendEscape(std::string& text, unsigned char byte)
{
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%02x", byte);
    text += escape;
}

/// True for what would command a terminal or turn a line around, in UTF-8 or as a byte of its own.
bool steers(std::string_view character, std::uint32_t code, bool valid)
{
    return valid ? base::steersTerminal(code)
                 : base::steersTerminal(static_cast<unsigned char>(character.front()));
}

/// Escapes what would let a file's name pass for a line of the log, or command a terminal: control
/// characters, marks of direction, and newlines within the text when the format does not have as many; and
/// the backslash, which would pass for an escape.
std::string harmless(std::string_view text, std::string_view format)
{
    const bool ownNewlines =
        std::count(text.begin(), text.end(), '\n') == std::count(format.begin(), format.end(), '\n');
    const std::size_t end = text.size() - (ownNewlines ? text.size() : lineEnds(text, format));
    std::string result;
    for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
        std::uint32_t code = 0;
        const std::size_t sequence = base::sequenceLength(text.substr(at), code);
        length = std::max<std::size_t>(sequence, 1);
        const std::string_view character = text.substr(at, length);
        if (character == "\n" ? at < end : character == "\\")
            result += character == "\n" ? "\\n" : "\\\\";
        else if (character == "\n" || character == "\t" || !steers(character, code, sequence != 0))
            result += character;
        else
            for (const char byte : character)
                appendEscape(result, static_cast<unsigned char>(byte));
    }
    return result;
}

} // namespace

namespace vardo {

bool openScanLog(const std::string& directory, unsigned level)
{
    CloseLog();
    base::UniqueFd fd = createLogFile(directory);
    if (!fd)
        return false;
    const std::lock_guard lock(logMutex);
    currentLog = ScanLog{std::move(fd), std::max<unsigned>(level, LOGLEVEL_MINIMUM), {}};
    lastFailure.clear();
    return true;
}

void markLogFolder(const std::string& directory)
{
    const base::UniqueFd folder = openLogFolder(directory);
    base::openOrMakePlainFile(folder.get(), paths::logMark, O_RDONLY, 0644);
}

std::string takeLogFailure()
{
    const std::lock_guard lock(logMutex);
    return std::exchange(lastFailure, {});
}

} // namespace vardo

void LogMe(unsigned char level, const char* format, ...)
{
    const std::lock_guard lock(logMutex);
    if (!currentLog || level > currentLog->level || !format)
        return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    currentLog->write(harmless(text, format));
}

void CloseLog()
{
    const std::lock_guard lock(logMutex);
    if (currentLog)
        lastFailure = currentLog->failure;
    currentLog.reset();
}
