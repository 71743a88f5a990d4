#include "reports/logfiles.h"

#include "base/plainfile.h"

#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace logfiles {

namespace {

struct DirectoryCloser
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

std::optional<struct stat> statusOf(int folder, const char* name)
{
    struct stat status = {};
    if (::fstatat(folder, name, &status, 0) != 0)
        return std::nullopt;
    return status;
}

} // namespace

base::UniqueFd openScanFolder(const std::string& location)
{
    return base::openFolder(AT_FDCWD, (location + "/vardo").c_str(), O_PATH);
}

std::optional<std::vector<File>> list(int folder)
{
    base::UniqueFd readable(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, DirectoryCloser> directory(::fdopendir(readable.get()));
    if (!directory)
        return std::nullopt;
    static_cast<void>(readable.release());
    std::vector<File> files;
    while (const dirent* entry = ::readdir(directory.get())) {
        std::string name = entry->d_name;
        if (!name.ends_with(".log"))
            continue;
        const auto status = statusOf(folder, name.c_str());
        if (status && S_ISREG(status->st_mode))
            files.push_back({std::move(name), status->st_mtime, status->st_size});
    }
    return files;
}

std::optional<File> find(int folder, const std::string& name)
{
    const auto status = statusOf(folder, name.c_str());
    if (!status)
        return std::nullopt;
    return File{name, status->st_mtime, status->st_size};
}

base::UniqueFd open(int folder, const std::string& name)
{
    // Opening a device or a pipe has effects, so what it is is asked first.
    const base::UniqueFd found(::openat(folder, name.c_str(), O_PATH | O_CLOEXEC));
    struct stat status = {};
    if (!found || ::fstat(found.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    const std::string place = "/proc/self/fd/" + std::to_string(found.get());
    return base::UniqueFd(::open(place.c_str(), O_RDONLY | O_CLOEXEC));
}

bool mayDelete(int folder)
{
    return ::faccessat(folder, ".", W_OK, 0) == 0;
}

void remove(int folder, const std::string& name)
{
    ::unlinkat(folder, name.c_str(), 0);
}

} // namespace logfiles
