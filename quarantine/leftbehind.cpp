#include "quarantine/leftbehind.h"

#include "quarantine/origin.h"
#include "quarantine/remove.h"

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quarantine {

namespace {

bool isTwin(const struct stat& status, const RestoreNote& note)
{
    return S_ISREG(status.st_mode) && status.st_uid == note.owner && status.st_size == note.content.size &&
           status.st_mtim.tv_sec == note.modified.tv_sec && status.st_mtim.tv_nsec == note.modified.tv_nsec;
}

/// What came back was made later.
bool wasThereBefore(const struct stat& status, const RestoreNote& note)
{
    return std::pair(status.st_ctim.tv_sec, status.st_ctim.tv_nsec) <=
           std::pair(note.quarantined.tv_sec, note.quarantined.tv_nsec);
}

/// The status of the file, if that is a regular one with this content.
bool hasContent(int directory, const std::string& name, const Digest& content, struct stat& status)
{
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const base::UniqueFd file(::openat(directory, name.c_str(), flags));
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size != content.size)
        return false;
    const auto digest = digestFile(file.get());
    return digest && digest.value() == content;
}

} // namespace

bool isLeftBehind(const StoredNote& stored)
{
    const auto origin = stored.author == ::geteuid() ? openOrigin(stored.note.origin) : base::Error{};
    struct stat status = {};
    return origin &&
           ::fstatat(origin.value().directory.get(), origin.value().leaf.c_str(), &status,
                     AT_SYMLINK_NOFOLLOW) == 0 &&
           isTwin(status, stored.note);
}

bool removeLeftBehind(int quarantine, const RestoreNotes& notes, const StoredNote& stored)
{
    const RestoreNote& note = stored.note;
    const base::UniqueFd claim = notes.claim(stored);
    const auto origin = openOrigin(note.origin);
    struct stat kept = {};
    struct stat left = {};
    if (!claim || !origin || !hasContent(quarantine, note.name, note.content, kept) ||
        !stored.isAbout(kept) ||
        !hasContent(origin.value().directory.get(), origin.value().leaf, note.content, left) ||
        !isTwin(left, note) || !wasThereBefore(left, note))
        return false;
    if (kept.st_dev == left.st_dev && kept.st_ino == left.st_ino)
        return false;
    return bool(
        removeChecked(origin.value().directory.get(), origin.value().leaf, [&](const struct stat& now) {
            return now.st_dev == left.st_dev && now.st_ino == left.st_ino && isTwin(now, note);
        }));
}

} // namespace quarantine
