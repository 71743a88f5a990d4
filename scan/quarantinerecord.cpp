#include "scan/quarantinerecord.h"

#include "scan/statefile.h"
#include "shell/paths.h"

#include <charconv>
#include <cstring>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int seriesLimit = 1024;
constexpr std::size_t longestName = 255;

std::string member(const std::string& name, int suffix)
{
    return suffix < 0 ? name : name + "-" + std::to_string(suffix);
}

/// The last name in use of the series name, name-0, name-1 …, which is where the engine has put the file. A
/// gap ends the search, and so does the limit, one name early.
std::string lastInSeries(int directory, const std::string& name)
{
    const auto exists = [&](int suffix) {
        return ::faccessat(directory, member(name, suffix).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    };
    int tried = 0;
    while (tried < seriesLimit && exists(tried - 1))
        ++tried;
    return member(name, tried - 2);
}

std::string dateField(std::time_t time)
{
    struct tm local = {};
    char text[32];
    ::localtime_r(&time, &local);
    return {text, std::strftime(text, sizeof text, "%Y %m %d %H:%M:%S", &local)};
}

/// Whole kilobytes with a "K", in six significant digits, or below one kilobyte the bytes.
std::string sizeField(off_t size)
{
    if (size < 1024)
        return std::to_string(size);
    const off_t whole = size / 1024;
    const auto kilobytes = static_cast<float>(whole);
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, static_cast<double>(kilobytes),
                                   std::chars_format::general, 6);
    return std::string(text, end.ptr) + "K";
}

/// Appends all of `record` or nothing.
bool append(int file, const std::string& record)
{
    // One write: a reader never meets half a record.
    const ssize_t written = ::write(file, record.data(), record.size());
    if (written == static_cast<ssize_t>(record.size()))
        return true;
    // Half a record, from a disk that is full, would take the next one along.
    struct stat status = {};
    if (written > 0 && ::fstat(file, &status) == 0)
        (void)!::ftruncate(file, status.st_size - written);
    return false;
}

} // namespace

bool appendQuarantineRecord(const char* objName, const char* virus)
{
    const std::string name = std::string(::basename(objName)).substr(0, longestName);
    const base::UniqueFd directory(::open(paths::quarantineDir, O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string file = lastInSeries(directory.get(), name);
    const base::UniqueFd records = openStateFile(paths::quarantineRecords, O_RDWR | O_APPEND);
    struct stat status = {};
    if (!records || ::fstatat(directory.get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;

    std::string record;
    for (const std::string& field :
         {file, dateField(status.st_atime), sizeField(status.st_size), std::string(virus)})
        record.append(field).append(quarantineSeparator);
    record += '\n';
    return append(records.get(), record);
}
