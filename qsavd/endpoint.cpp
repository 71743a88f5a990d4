#include "qsavd/endpoint.h"

#include "protocol/socketaddress.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace {

constexpr int acquireAttempts = 50;
constexpr int backlog = 64;

base::Error systemError(std::string_view what, int code)
{
    return {code, std::string(what) + ": " + std::strerror(code)};
}

bool holdsNothingButANumber(int file)
{
    std::array<char, 16> text{};
    const ssize_t length = pread(file, text.data(), text.size(), 0);
    return length >= 0 && length < static_cast<ssize_t>(text.size()) &&
           std::all_of(text.begin(), text.begin() + length,
                       [](char c) { return (c >= '0' && c <= '9') || c == '\n'; });
}

bool isLeftPidFile(int file)
{
    struct stat info = {};
    return fstat(file, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() &&
           info.st_nlink <= 1 && holdsNothingButANumber(file);
}

bool sameFile(const Place& place, const struct stat& wanted)
{
    struct stat info = {};
    return fstatat(place.directory(), place.name(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
           info.st_dev == wanted.st_dev && info.st_ino == wanted.st_ino;
}

bool isNamed(const Place& place, int file)
{
    struct stat info = {};
    return fstat(file, &info) == 0 && sameFile(place, info);
}

base::UniqueFd openOrCreate(const Place& place)
{
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    base::UniqueFd file(openat(place.directory(), place.name(), flags));
    if (!file && errno == ENOENT)
        file.reset(openat(place.directory(), place.name(), flags | O_CREAT | O_EXCL, 0600));
    return file;
}

int bindPrivately(int socket, const SocketAddress& address)
{
    const mode_t before = umask(0177);
    const int failure = bind(socket, address.get(), address.length()) == 0 ? 0 : errno;
    umask(before);
    return failure;
}

bool isOwnSocket(const Place& place, struct stat& info)
{
    return fstatat(place.directory(), place.name(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISSOCK(info.st_mode) && info.st_uid == geteuid();
}

} // namespace

base::Result<Place> Place::open(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (path.empty() || path.front() != '/' || slash + 1 == path.size())
        return base::Error{EINVAL, "\"" + path + "\" is not the absolute path of a file"};
    Place place;
    place.name_ = path.substr(slash + 1);
    const std::string directory = path.substr(0, std::max<std::size_t>(slash, 1));
    place.directory_.reset(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!place.directory_)
        return systemError(directory, errno);
    return place;
}

base::Result<PidFile> PidFile::acquire(const std::string& path)
{
    auto place = Place::open(path);
    if (!place)
        return place.error();
    PidFile pidFile;
    pidFile.place_ = std::move(place).value();
    // A service that ends deletes the file we may just have opened: then its name leads elsewhere.
    for (int attempt = 0; attempt < acquireAttempts; ++attempt) {
        pidFile.file_ = openOrCreate(pidFile.place_);
        if (!pidFile.file_ && errno == EEXIST)
            continue;
        if (!pidFile.file_)
            return systemError(path, errno);
        if (!isLeftPidFile(pidFile.file_.get()))
            return base::Error{EEXIST, path + ": there is something else than a pid file of ours"};
        if (flock(pidFile.file_.get(), LOCK_EX | LOCK_NB) != 0)
            return systemError(path, errno);
        if (isNamed(pidFile.place_, pidFile.file_.get()))
            return pidFile;
    }
    return base::Error{EAGAIN, path + ": cannot be kept"};
}

bool PidFile::record() const
{
    const std::string text = std::to_string(getpid()) + "\n";
    return ftruncate(file_.get(), 0) == 0 &&
           pwrite(file_.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

void PidFile::remove() const
{
    if (isNamed(place_, file_.get()))
        unlinkat(place_.directory(), place_.name(), 0);
}

void PidFile::release()
{
    remove();
    file_.reset();
}

base::Result<Listener> Listener::listen(const std::string& path)
{
    auto place = Place::open(path);
    if (!place)
        return place.error();
    Listener listener;
    listener.place_ = std::move(place).value();
    const SocketAddress address(listener.place_.directory(), listener.place_.name());
    listener.socket_.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.socket_ || !address.fits())
        return systemError(path, listener.socket_ ? ENAMETOOLONG : errno);

    int failure = bindPrivately(listener.socket_.get(), address);
    struct stat info = {};
    if (failure == EADDRINUSE) {
        if (!isOwnSocket(listener.place_, info))
            return base::Error{EEXIST, path + ": there is something else than a socket of ours"};
        unlinkat(listener.place_.directory(), listener.place_.name(), 0);
        failure = bindPrivately(listener.socket_.get(), address);
    }
    if (failure == 0 && ::listen(listener.socket_.get(), backlog) != 0)
        failure = errno;
    if (failure != 0)
        return systemError(path, failure);
    if (isOwnSocket(listener.place_, info)) {
        listener.device_ = info.st_dev;
        listener.inode_ = info.st_ino;
    }
    return listener;
}

void Listener::close()
{
    struct stat wanted = {};
    wanted.st_dev = device_;
    wanted.st_ino = inode_;
    if (socket_ && inode_ != 0 && sameFile(place_, wanted))
        unlinkat(place_.directory(), place_.name(), 0);
    socket_.reset();
}

} // namespace qsavd
