#include "quarantine/recordfile.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "quarantine/newfile.h"
#include "quarantine/storedirectory.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <sys/file.h>

namespace quarantine {

namespace {

/// 200,000 records fit. More is a trap, since everybody may write the file: each becomes a row of the window.
constexpr std::size_t largestFile = 16 << 20;

constexpr std::chrono::milliseconds::rep mostWaiting = 3000;

const char* nameIn(const char* path)
{
    return std::strrchr(path, '/') + 1;
}

/// Locks `file` against other processes, if that can be had in time.
void lock(int file)
{
    using namespace std::chrono;
    // What there is to wait, in all. Who takes the lock again and again would slow down a whole scan else.
    static std::atomic<milliseconds::rep> left = mostWaiting;
    const milliseconds budget(left);
    const auto start = steady_clock::now();
    milliseconds::rep gain = 1;
    while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        const auto waited = duration_cast<milliseconds>(steady_clock::now() - start);
        gain = -waited.count();
        if (errno != EWOULDBLOCK || waited >= budget)
            break;
        std::this_thread::sleep_for(1ms);
    }
    left = std::clamp(left + gain, milliseconds::rep{0}, mostWaiting);
}

/// Appends all of `line` or nothing.
bool appendWhole(int file, const std::string& line)
{
    // One write: a reader never meets half a record.
    const ssize_t written = ::write(file, line.data(), line.size());
    if (written == static_cast<ssize_t>(line.size()))
        return true;
    // Half a record, from a disk that is full, would take the next one along.
    struct stat status = {};
    if (written > 0 && ::fstat(file, &status) == 0)
        (void)!::ftruncate(file, status.st_size - written);
    return false;
}

std::optional<std::string> readAll(int file)
{
    std::string content;
    for (char piece[65'536];;) {
        const ssize_t count = ::read(file, piece, sizeof piece);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 || content.size() > largestFile)
            return std::nullopt;
        if (count == 0)
            return content;
        content.append(piece, static_cast<std::size_t>(count));
    }
}

base::UniqueFd openDirectoryOf(const std::string& path)
{
    return base::UniqueFd(
        ::open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// A directory cannot go with what others have put into it, so it gets another name.
void moveAway(int directory, const std::string& name)
{
    if (::unlinkat(directory, name.c_str(), 0) != 0 && errno != ENOENT)
        ::renameat(directory, name.c_str(), directory, (name + '-' + randomDigits()).c_str());
}

} // namespace

RecordFile::RecordFile()
    : directory_(openDirectoryOf(paths::quarantineRecords))
    , lock_(openStore(paths::quarantine))
{
    if (lock_)
        lock(lock_.get());
}

bool RecordFile::append(const Record& record)
{
    constexpr mode_t groupMode = 0664;
    const base::UniqueFd file = base::openOrMakePlainFile(directory_.get(), nameIn(paths::quarantineRecords),
                                                          O_RDWR | O_APPEND, groupMode);
    return file && appendWhole(file.get(), toLine(record));
}

std::optional<std::string> RecordFile::read() const
{
    const base::UniqueFd file =
        base::openPlainFile(directory_.get(), nameIn(paths::quarantineRecords), O_RDONLY);
    return file ? readAll(file.get()) : std::nullopt;
}

RecordFile::Outcome RecordFile::rewrite(Need need, const Edit& edit, const Notice& notice)
{
    const base::UniqueFd old = base::openPlainFile(directory_.get(), nameIn(paths::quarantineRecords),
                                                   need == Need::Writing ? O_RDWR : O_RDONLY);
    const std::optional<std::string> content = old ? readAll(old.get()) : std::nullopt;
    const base::UniqueFd file = content ? createAnew(nameIn(paths::newQuarantineRecords)) : base::UniqueFd();
    if (!file)
        return Outcome::NotOpened;
    if (notice)
        notice(paths::newQuarantineRecords);
    const bool replaced = replaceBy(file.get(), edit(*content));
    if (notice)
        notice(paths::quarantineRecords);
    return replaced ? Outcome::Done : Outcome::NotReplaced;
}

bool RecordFile::clear()
{
    return static_cast<bool>(createAnew(nameIn(paths::quarantineRecords)));
}

/// An empty file, writable for everybody. Whatever was left or planted in its place goes.
base::UniqueFd RecordFile::createAnew(const char* name)
{
    moveAway(directory_.get(), name);
    base::UniqueFd file = base::openPlainFile(directory_.get(), name, O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (file)
        ::fchmod(file.get(), 0666); // whatever the umask took away
    return file;
}

bool RecordFile::replaceBy(int file, const std::string& content)
{
    const int directory = directory_.get();
    const char* newName = nameIn(paths::newQuarantineRecords);
    if (base::writeAll(file, content) && ::fsync(file) == 0 &&
        ::renameat(directory, newName, directory, nameIn(paths::quarantineRecords)) == 0)
        return true;
    ::unlinkat(directory, newName, 0);
    return false;
}

} // namespace quarantine
