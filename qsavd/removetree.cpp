#include "qsavd/removetree.h"

#include "base/uniquefd.h"

#include <memory>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace {

struct DirectoryCloser
{
    void operator()(DIR* directory) const { closedir(directory); }
};

/// Root needs no rights, and must not change those of what somebody puts in the place of a directory.
void unlockDirectory(int parent, const char* name)
{
    if (geteuid() != 0)
        fchmodat(parent, name, 0700, 0);
}

base::UniqueFd openDirectory(int parent, const char* name)
{
    unlockDirectory(parent, name);
    return base::UniqueFd(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::vector<std::string> namesIn(int directory)
{
    base::UniqueFd again(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, DirectoryCloser> stream(fdopendir(again.get()));
    std::vector<std::string> names;
    if (!stream)
        return names;
    static_cast<void>(again.release());
    while (const dirent* entry = readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    return names;
}

bool removeEntry(int directory, const std::string& name)
{
    return unlinkat(directory, name.c_str(), 0) == 0 || unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0;
}

/// Empties the directory `name` in `top`: what cannot be deleted, since it is not empty, moves into `top`. So
/// depth costs neither descriptors nor length of paths. False when nothing could be done.
bool flatten(int top, const std::string& name, unsigned long& moved)
{
    const base::UniqueFd directory = openDirectory(top, name.c_str());
    bool changed = false;
    for (const std::string& inner : namesIn(directory.get())) {
        if (!removeEntry(directory.get(), inner)) {
            unlockDirectory(directory.get(), inner.c_str());
            const std::string next = ".moved-" + std::to_string(++moved);
            if (renameat2(directory.get(), inner.c_str(), top, next.c_str(), RENAME_NOREPLACE) != 0)
                continue;
        }
        changed = true;
    }
    return removeEntry(top, name) || changed;
}

} // namespace

void removeTree(const std::string& path)
{
    const base::UniqueFd top = openDirectory(AT_FDCWD, path.c_str());
    unsigned long moved = 0;
    for (bool changed = static_cast<bool>(top); changed;) {
        changed = false;
        for (const std::string& name : namesIn(top.get()))
            changed = removeEntry(top.get(), name) || flatten(top.get(), name, moved) || changed;
    }
    rmdir(path.c_str());
}

} // namespace qsavd
