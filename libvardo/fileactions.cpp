#include "libvardo/fileactions.h"

#include "base/systemerror.h"
#include "quarantine/newfile.h"
#include "quarantine/remove.h"
#include "quarantine/storedirectory.h"

#include <fcntl.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr int mostNames = 1 << 29; // of one series
/// So many are tried one by one. Anybody can make a longer series, and trying all of it for every file of it
/// would take hours.
constexpr int shortSeries = 1024;

/// A number that is taken and whose successor is not, from `taken` on; in few steps.
int skipTaken(int taken, const std::function<bool(int number)>& isTaken)
{
    int free = 2 * taken;
    for (; free < mostNames && isTaken(free); free *= 2)
        taken = free;
    while (free - taken > 1) {
        const int middle = taken + (free - taken) / 2;
        (isTaken(middle) ? taken : free) = middle;
    }
    return taken;
}

base::Error changedError()
{
    return {ESTALE, "the file changed after it was scanned"};
}

/// True for the status of the scanned file, perhaps moved by now. A file system in layers may give it another
/// inode then, and the one that is open as well.
bool isScanned(const ScannedFile& file, const struct stat& status)
{
    const FileId id = fileId(status);
    struct stat open = {};
    return id.sameContent(file.id) || (id.size == file.id.size && id.modified == file.id.modified &&
                                       ::fstat(file.fd, &open) == 0 && fileId(open).sameContent(id));
}

} // namespace

base::Result<FileId> verifyUnchanged(const ScannedFile& file)
{
    struct stat status = {};
    if (::fstatat(file.parent, file.leaf.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return base::systemError();
    const FileId id = fileId(status);
    if (id == file.id)
        return id;
    return changedError();
}

base::Result<std::string> deleteFile(const ScannedFile& file)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    const auto removed = quarantine::removeChecked(
        file.parent, file.leaf, [&file](const struct stat& status) { return isScanned(file, status); });
    return removed ? base::Result<std::string>(std::string()) : removed.error();
}

base::Result<std::string> renameFile(const ScannedFile& file, const std::string& extension)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    return takeFirstFree(file.parent, file.leaf, "." + extension,
                         [&file](const std::string& name) { return moveScanned(file, file.parent, name); });
}

base::Result<bool> moveScanned(const ScannedFile& file, int directory, const std::string& name)
{
    if (const auto moved = quarantine::moveNoReplace(file.parent, file.leaf, directory, name); !moved)
        return moved;
    struct stat status = {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && isScanned(file, status))
        return true;
    const auto back = quarantine::moveBack(directory, name, file.parent, file.leaf);
    if (back && back.value() == file.leaf)
        return changedError();
    return base::Error{ESTALE, changedError().text + "; what took its place is now named " +
                                   (back ? back.value() : name)};
}

base::Result<std::string>
takeFirstFree(int directory, const std::string& stem, const std::string& end,
              const std::function<base::Result<bool>(const std::string& name)>& take)
{
    const auto isTaken = [&](int number) {
        const std::string name = quarantine::seriesName(stem, number, end);
        struct stat status = {};
        return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    };
    for (int number = -1; number < mostNames; ++number) {
        if (isTaken(number)) {
            if (number == shortSeries)
                number = skipTaken(number, isTaken);
            continue;
        }
        const std::string name = quarantine::seriesName(stem, number, end);
        const base::Result<bool> taken = take(name);
        if (taken)
            return name;
        if (taken.error().code != EEXIST)
            return taken.error();
    }
    return base::systemError(EEXIST);
}

} // namespace vardo
