#include "reports/logfiles.h"

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
    if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

} // namespace

base::UniqueFd openScanFolder(const std::string& location)
{
    return base::UniqueFd(
        ::open((location + "/vardo").c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
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
    // Without O_NONBLOCK a pipe would not let go before somebody writes to it.
    base::UniqueFd file(
        ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (file && (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)))
        file.reset();
    return file;
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
