#include "schedule/directorylisting.h"

#include "base/uniquefd.h"

#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct CloseDirectory
{
    void operator()(DIR* stream) const { ::closedir(stream); }
};

DirectoryEntry::Kind kindOf(unsigned char type)
{
    if (type == DT_DIR)
        return DirectoryEntry::Kind::Directory;
    return type == DT_REG ? DirectoryEntry::Kind::File : DirectoryEntry::Kind::Special;
}

DirectoryEntry describe(int directory, const dirent& found)
{
    DirectoryEntry entry;
    entry.name = found.d_name;
    unsigned char type = found.d_type;
    struct stat status
    {
    };
    // Some file systems leave it to this call to tell the type.
    if (type == DT_UNKNOWN && ::fstatat(directory, found.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
        type = static_cast<unsigned char>(IFTODT(status.st_mode));
    entry.symbolicLink = type == DT_LNK;
    if ((type == DT_LNK || type == DT_REG) && ::fstatat(directory, found.d_name, &status, 0) == 0) {
        type = static_cast<unsigned char>(IFTODT(status.st_mode));
        entry.size = status.st_size;
    }
    entry.kind = kindOf(type);
    if (entry.kind == DirectoryEntry::Kind::Directory)
        entry.readable = ::faccessat(directory, found.d_name, R_OK, 0) == 0;
    return entry;
}

} // namespace

std::vector<DirectoryEntry> listDirectory(const std::string& path)
{
    base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> stream(fd ? ::fdopendir(fd.get()) : nullptr);
    if (!stream)
        return {};
    const int directory = fd.release(); // the stream's now
    std::vector<DirectoryEntry> entries;
    while (const dirent* found = ::readdir(stream.get())) {
        const std::string_view name = found->d_name;
        if (name != "." && name != "..")
            entries.push_back(describe(directory, *found));
    }
    return entries;
}
