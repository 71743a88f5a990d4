#include "libvardo/fileactions.h"

#include "libvardo/systemerror.h"
#include "quarantine/newfile.h"

#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr int mostNames = 100'000; // of one series

base::Error changedError()
{
    return {ESTALE, "the file changed after it was scanned"};
}

} // namespace

base::Result<FileId> verifyUnchanged(const ScannedFile& file)
{
    struct stat status = {};
    if (::fstatat(file.parent, file.leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return systemError();
    const FileId id = fileId(status);
    if (id == file.id)
        return id;
    return changedError();
}

base::Result<std::string> deleteFile(const ScannedFile& file)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    if (::unlinkat(file.parent, file.leaf.c_str(), 0) != 0)
        return systemError();
    return std::string();
}

base::Result<std::string> renameFile(const ScannedFile& file, const std::string& extension)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    return takeFirstFree(file.leaf, "." + extension,
                         [&file](const std::string& name) { return moveScanned(file, file.parent, name); });
}

base::Result<bool> moveScanned(const ScannedFile& file, int directory, const std::string& name)
{
    if (const auto moved = quarantine::moveNoReplace(file.parent, file.leaf, directory, name); !moved)
        return moved;
    struct stat status = {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        fileId(status).sameContent(file.id))
        return true;
    if (const auto back = quarantine::moveNoReplace(directory, name, file.parent, file.leaf); !back)
        return base::Error{ESTALE, changedError().text + "; what took its place is now named " + name};
    return changedError();
}

base::Result<std::string>
takeFirstFree(const std::string& stem, const std::string& end,
              const std::function<base::Result<bool>(const std::string& name)>& take)
{
    for (int number = -1; number < mostNames; ++number) {
        const std::string tail = (number < 0 ? "" : "-" + std::to_string(number)) + end;
        if (tail.size() >= NAME_MAX)
            return systemError(ENAMETOOLONG);
        const std::string name = stem.substr(0, NAME_MAX - tail.size()) + tail;
        const base::Result<bool> taken = take(name);
        if (taken)
            return name;
        if (taken.error().code != EEXIST)
            return taken.error();
    }
    return systemError(EEXIST);
}

} // namespace vardo
