#include "base/uniquefd.h"
#include "libvardo/fileactions.h"
#include "libvardo/systemerror.h"

#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::size_t copyPiece = 1 << 20;

/// A file in the making that disappears unless it is kept.
class TemporaryFile
{
  public:
    TemporaryFile(int directory, std::string name)
        : directory_(directory)
        , name_(std::move(name))
        , fd_(::openat(directory, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600))
    {
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile()
    {
        if (fd_ && !name_.empty())
            ::unlinkat(directory_, name_.c_str(), 0);
    }

    int fd() const { return fd_.get(); }
    const std::string& name() const { return name_; }
    void rename(std::string name) { name_ = std::move(name); }
    void keep() { name_.clear(); }

  private:
    int directory_;
    std::string name_;
    base::UniqueFd fd_;
};

std::string temporaryName()
{
    std::uint64_t number = 0;
    while (::getrandom(&number, sizeof number, 0) != sizeof number) {
    }
    char name[32];
    std::snprintf(name, sizeof name, ".incoming-%016llx", static_cast<unsigned long long>(number));
    return name;
}

base::Result<base::UniqueFd> openQuarantine(const std::string& directory)
{
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        return systemError();
    base::UniqueFd fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!fd || ::fstat(fd.get(), &status) != 0)
        return systemError();
    if (status.st_mode & S_IWOTH)
        return base::Error{EPERM, "everybody may write to the quarantine directory"};
    return fd;
}

bool writeAll(int fd, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

base::Result<bool> copyContent(int from, int to, const ActionBeat& beat)
{
    std::vector<char> piece(copyPiece);
    for (off_t offset = 0;;) {
        const ssize_t size = ::pread(from, piece.data(), piece.size(), offset);
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0)
            return systemError();
        if (size == 0)
            return true;
        if (!writeAll(to, piece.data(), static_cast<std::size_t>(size)))
            return systemError();
        offset += size;
        if (!beat())
            return systemError(ECANCELED);
    }
}

/// Owner first: a change of owner may take mode bits away, never give any.
base::Result<bool> takeOverAttributes(const ScannedFile& file, int to)
{
    struct stat status = {};
    if (::fstat(file.fd, &status) != 0)
        return systemError();
    if (::geteuid() == 0 && ::fchown(to, status.st_uid, status.st_gid) != 0)
        return systemError();
    const timespec times[] = {status.st_atim, status.st_mtim};
    if (::fchmod(to, 0600) != 0 || ::futimens(to, times) != 0 || ::fsync(to) != 0)
        return systemError();
    return true;
}

base::Result<std::string> copyInto(const ScannedFile& file, int directory, const ActionBeat& beat)
{
    TemporaryFile copy(directory, temporaryName());
    if (copy.fd() < 0)
        return systemError();
    if (const auto copied = copyContent(file.fd, copy.fd(), beat); !copied)
        return copied.error();
    if (const auto done = takeOverAttributes(file, copy.fd()); !done)
        return done.error();

    base::Result<std::string> name =
        takeFirstFree(file.leaf, "", [&copy, directory](const std::string& candidate) {
            return moveNoReplace(directory, copy.name(), directory, candidate);
        });
    if (!name)
        return name;
    copy.rename(name.value());
    if (::fsync(directory) != 0)
        return systemError();
    if (const auto removed = deleteFile(file); !removed)
        return removed;
    copy.keep();
    return name;
}

base::Result<std::string> moveInto(const ScannedFile& file, int directory)
{
    struct stat status = {};
    if (::fstat(file.fd, &status) != 0)
        return systemError();
    if (::geteuid() != 0 && ::geteuid() != status.st_uid)
        return systemError(EXDEV); // somebody else's: a copy can be locked up, the file cannot
    base::Result<std::string> name =
        takeFirstFree(file.leaf, "", [&file, directory](const std::string& candidate) {
            return moveScanned(file, directory, candidate);
        });
    if (!name || ::fchmod(file.fd, 0600) == 0)
        return name;
    const base::Error error = systemError();
    moveNoReplace(directory, name.value(), file.parent, file.leaf);
    return error;
}

} // namespace

base::Result<std::string> quarantineFile(const ScannedFile& file, const std::string& directory,
                                         const ActionBeat& beat)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    const base::Result<base::UniqueFd> opened = openQuarantine(directory);
    if (!opened)
        return opened.error();
    base::Result<std::string> moved = moveInto(file, opened.value().get());
    if (!moved && moved.error().code == EXDEV)
        return copyInto(file, opened.value().get(), beat);
    return moved;
}

base::Result<std::string> copyToQuarantine(const ScannedFile& file, const std::string& directory,
                                           const ActionBeat& beat)
{
    const base::Result<base::UniqueFd> opened = openQuarantine(directory);
    if (!opened)
        return opened.error();
    return copyInto(file, opened.value().get(), beat);
}

} // namespace vardo
