#include "quarantine/restorenotes.h"

#include "base/plainfile.h"
#include "base/systemerror.h"
#include "quarantine/directorylist.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include <sys/file.h>

namespace quarantine {

namespace {

constexpr std::size_t largestNote = 16'384; // two paths fit

/// The notes about one name start with the same digits: only these few have to be read.
std::string prefixOf(const std::string& name)
{
    std::uint64_t hash = 0xcbf29ce484222325u; // FNV-1a
    for (const char byte : name)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3u;
    char digits[18];
    std::snprintf(digits, sizeof digits, "%016llx-", static_cast<unsigned long long>(hash));
    return digits;
}

/// Whoever may write to the quarantine may add notes. The directory gets the quarantine's owner, so that the
/// first one who makes it has no power over root's notes. Where that fails, it stays root's.
void makeLikeQuarantine(int directory, const struct stat& quarantine, bool isNew)
{
    struct stat status = {};
    const bool takesOver =
        ::geteuid() == 0 && ::fstat(directory, &status) == 0 && status.st_uid != quarantine.st_uid;
    if (takesOver)
        (void)!::fchown(directory, quarantine.st_uid, quarantine.st_gid);
    if (isNew || takesOver)
        ::fchmod(directory, quarantine.st_mode & 07777);
}

} // namespace

bool StoredNote::isAbout(const struct stat& file) const
{
    return S_ISREG(file.st_mode) && note.content.size == file.st_size &&
           (author == 0 ? note.owner : author) == file.st_uid;
}

bool StoredNote::isNewerThan(const RestoreNote& other) const
{
    return std::pair(note.quarantined.tv_sec, note.quarantined.tv_nsec) >
           std::pair(other.quarantined.tv_sec, other.quarantined.tv_nsec);
}

RestoreNotes::RestoreNotes(base::UniqueFd directory)
    : directory_(std::move(directory))
{
}

base::Result<RestoreNotes> RestoreNotes::open(int quarantine, bool make)
{
    const bool isNew = make && ::mkdirat(quarantine, notesDirectory, 0700) == 0;
    base::UniqueFd directory(
        ::openat(quarantine, notesDirectory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!directory || ::fstat(quarantine, &status) != 0)
        return base::systemError();
    if (make)
        makeLikeQuarantine(directory.get(), status, isNew);
    return RestoreNotes(std::move(directory));
}

base::Result<NewFile> RestoreNotes::add(const RestoreNote& note) const
{
    base::Result<NewFile> file = NewFile::create(directory());
    if (!file)
        return file;
    const int fd = file.value().fd();
    // The file's owner may read what root noted about it, as a member of the directory's group.
    if (!base::writeAll(fd, toText(note)) || (::geteuid() == 0 && ::fchmod(fd, 0640) != 0))
        return base::systemError();
    const auto published = file.value().publish(directory(), prefixOf(note.name) + randomDigits());
    return published ? std::move(file) : published.error();
}

std::vector<StoredNote> RestoreNotes::all() const
{
    return read({});
}

std::vector<StoredNote> RestoreNotes::of(const std::string& name) const
{
    std::vector<StoredNote> notes = read(prefixOf(name));
    std::erase_if(notes, [&name](const StoredNote& stored) { return stored.note.name != name; });
    return notes;
}

base::UniqueFd RestoreNotes::claim(const StoredNote& note) const
{
    base::UniqueFd file = base::openPlainFile(directory(), note.fileName.c_str(), O_RDONLY);
    if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        file.reset();
    return file;
}

bool RestoreNotes::drop(const StoredNote& note) const
{
    const base::UniqueFd file = claim(note);
    return file && ::unlinkat(directory(), note.fileName.c_str(), 0) == 0;
}

std::vector<StoredNote> RestoreNotes::read(const std::string& prefix) const
{
    std::vector<StoredNote> notes;
    std::string text(largestNote + 1, '\0');
    for (const std::string& name : listDirectory(directory())) {
        if (!name.starts_with(prefix) || name.starts_with('.'))
            continue;
        const base::UniqueFd file = base::openPlainFile(directory(), name.c_str(), O_RDONLY);
        struct stat status = {};
        // What others may write is nobody's word: root's record file, which all may, can be moved here.
        if (!file || ::fstat(file.get(), &status) != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)))
            continue;
        const ssize_t size = ::pread(file.get(), text.data(), text.size(), 0);
        if (size < 0 || size > static_cast<ssize_t>(largestNote))
            continue;
        if (auto note = parseNote(std::string_view(text).substr(0, static_cast<std::size_t>(size))))
            notes.push_back({std::move(*note), name, status.st_uid});
    }
    return notes;
}

void dropRestoreNotes(int quarantine, const std::string& name)
{
    struct stat status = {};
    const auto notes = RestoreNotes::open(quarantine);
    if (!notes || ::fstatat(quarantine, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return;
    for (const StoredNote& note : notes.value().of(name))
        notes.value().drop(note);
}

} // namespace quarantine
