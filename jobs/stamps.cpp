#include "jobs/stamps.h"

#include "base/plainfile.h"
#include "base/systemerror.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <sstream>

#include <dirent.h>
#include <sys/file.h>

namespace jobs {

namespace {

constexpr char lockFile[] = ".runs";
constexpr char unfinished[] = ".new";
constexpr std::size_t idLength = 16;

bool isId(const std::string& text)
{
    return text.size() == idLength && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Runs hold one byte each of the lock file, so that nothing is left behind by a job that goes.
struct flock rangeOf(const std::string& id)
{
    unsigned long number = 0;
    std::from_chars(id.data(), id.data() + id.size(), number, 16);
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(number >> 2);
    range.l_len = 1;
    return range;
}

std::string textOf(const Stamp& stamp)
{
    std::ostringstream text;
    text << stamp.handled << ' ' << stamp.begun << ' ' << stamp.ended << ' ' << stamp.exitCode << ' '
         << stamp.scanned << ' ' << stamp.found << ' ' << stamp.unscanned << '\n';
    return text.str();
}

} // namespace

base::Result<Stamps> Stamps::open(const std::string& directory)
{
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        return base::systemError();
    base::UniqueFd opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!opened || ::fstat(opened.get(), &status) != 0)
        return base::systemError();
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)))
        return base::systemError(EPERM);
    return Stamps(std::move(opened));
}

base::UniqueFd Stamps::openFile(const std::string& name, int flags) const
{
    return base::openPlainFile(directory_.get(), name.c_str(), flags, 0600);
}

std::optional<Stamp> Stamps::read(const std::string& id) const
{
    const base::UniqueFd file = isId(id) ? openFile(id, O_RDONLY) : base::UniqueFd();
    char text[256] = {};
    if (!file || ::read(file.get(), text, sizeof text - 1) <= 0)
        return std::nullopt;
    std::istringstream numbers(text);
    Stamp stamp;
    numbers >> stamp.handled >> stamp.begun >> stamp.ended >> stamp.exitCode >> stamp.scanned >>
        stamp.found >> stamp.unscanned;
    return numbers ? std::optional(stamp) : std::nullopt;
}

base::Result<bool> Stamps::update(const std::string& id, const std::function<void(Stamp&)>& change)
{
    if (!isId(id))
        return base::systemError(EINVAL);
    if (::flock(directory_.get(), LOCK_EX) != 0)
        return base::systemError();
    Stamp stamp = read(id).value_or(Stamp());
    change(stamp);
    const base::Result<bool> written = write(id, stamp);
    ::flock(directory_.get(), LOCK_UN);
    return written;
}

base::Result<bool> Stamps::write(const std::string& id, const Stamp& stamp)
{
    const base::UniqueFd file = openFile(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file || !base::writeAll(file.get(), textOf(stamp)) || ::fsync(file.get()) != 0 ||
        ::renameat(directory_.get(), unfinished, directory_.get(), id.c_str()) != 0 ||
        ::fsync(directory_.get()) != 0)
        return base::systemError();
    return true;
}

base::Result<base::UniqueFd> Stamps::hold(const std::string& id) const
{
    base::UniqueFd file = openFile(lockFile, O_RDWR | O_CREAT);
    struct flock range = rangeOf(id);
    if (!file)
        return base::systemError();
    if (::fcntl(file.get(), F_OFD_SETLK, &range) != 0)
        return base::systemError(errno == EACCES ? EAGAIN : errno); // both say that it is held
    return file;
}

bool Stamps::isHeld(const std::string& id) const
{
    const base::UniqueFd file = openFile(lockFile, O_RDWR);
    struct flock range = rangeOf(id);
    return file && ::fcntl(file.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

void Stamps::keepOnly(const std::vector<std::string>& ids)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> all(
        ::fdopendir(::openat(directory_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), ::closedir);
    while (const dirent* entry = all ? ::readdir(all.get()) : nullptr) {
        const std::string name(entry->d_name);
        if (isId(name) && std::find(ids.begin(), ids.end(), name) == ids.end())
            ::unlinkat(directory_.get(), name.c_str(), 0);
    }
}

bool noteSaved(const std::string& id, std::time_t now)
{
    auto stamps = Stamps::open();
    return stamps && stamps.value().update(id, [now](Stamp& stamp) { stamp.handled = now; });
}

} // namespace jobs
