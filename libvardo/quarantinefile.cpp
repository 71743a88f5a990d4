#include "libvardo/quarantinefile.h"

#include "base/pathof.h"
#include "base/systemerror.h"
#include "base/uniquefd.h"
#include "libvardo/syncfile.h"
#include "quarantine/restorenotes.h"
#include "quarantine/storedirectory.h"

#include <ctime>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vardo {

namespace {

base::Result<base::UniqueFd> openQuarantine(const std::string& directory)
{
    if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        return base::systemError();
    base::UniqueFd fd = quarantine::openStore(directory);
    struct stat status = {};
    if (!fd || ::fstat(fd.get(), &status) != 0)
        return base::systemError();
    if (status.st_mode & S_IWOTH)
        return base::Error{EPERM, "everybody may write to the quarantine directory"};
    return fd;
}

/// The path of `file` without links; empty when there is none, such as one too long for the kernel.
std::string originOf(const ScannedFile& file)
{
    const base::Result<std::string> directory = base::pathOf(file.parent);
    struct stat named = {};
    struct stat open = {};
    if (!directory || ::stat(directory.value().c_str(), &named) != 0 || ::fstat(file.parent, &open) != 0 ||
        named.st_dev != open.st_dev || named.st_ino != open.st_ino)
        return {};
    return (directory.value() == "/" ? "" : directory.value()) + "/" + file.leaf;
}

/// Of a file whose origin is not noted nobody could say where it belongs.
base::Error unnoted(const base::Error& error)
{
    return {error.code == EEXIST ? EIO : error.code, "its origin could not be noted: " + error.text};
}

/// One file on its way into the quarantine. What is done and not kept in the end is undone.
class Quarantining
{
  public:
    Quarantining(const ScannedFile& file, const std::string& virus, int directory,
                 const quarantine::Beat& beat)
        : file_(file)
        , virus_(virus)
        , directory_(directory)
        , beat_(beat)
        , notes_(quarantine::RestoreNotes::open(directory, true))
    {
    }

    base::Result<std::string> run();

  private:
    bool mayMove() const;
    base::Result<std::string> move();
    base::Result<std::string> copy();
    base::Result<std::string> takeName(const quarantine::Digest& content,
                                       const std::function<base::Result<bool>(const std::string&)>& take);
    base::Result<bool> addNote(const std::string& name, const quarantine::Digest& content);
    base::Result<bool> takeOverAttributes(int copy) const;
    std::string kept(std::string name);

    const ScannedFile& file_;
    const std::string& virus_;
    const int directory_;
    const quarantine::Beat& beat_;
    const base::Result<quarantine::RestoreNotes> notes_;
    struct stat status_ = {};
    std::optional<quarantine::NewFile> note_;
};

base::Result<std::string> Quarantining::run()
{
    if (!notes_)
        return unnoted(notes_.error());
    if (::fstat(file_.fd, &status_) != 0)
        return base::systemError();
    if (mayMove()) {
        base::Result<std::string> moved = move();
        if (moved || moved.error().code != EXDEV)
            return moved;
    }
    return copy();
}

/// The file itself is moved if that locks it up: its owner or root does so, it has one name and nobody else
/// may have it open for writing. Of any other file a copy is locked up.
bool Quarantining::mayMove() const
{
    struct stat there = {};
    return (::geteuid() == 0 || ::geteuid() == status_.st_uid) && status_.st_nlink == 1 &&
           !(status_.st_mode & (S_IWGRP | S_IWOTH)) && ::fstat(directory_, &there) == 0 &&
           there.st_dev == status_.st_dev;
}

base::Result<std::string> Quarantining::move()
{
    const auto content = quarantine::digestFile(file_.fd, -1, beat_);
    if (!content)
        return content.error();
    base::Result<std::string> name = takeName(content.value(), [this](const std::string& candidate) {
        return moveScanned(file_, directory_, candidate);
    });
    if (!name)
        return name.error();
    if (::fchmod(file_.fd, 0600) == 0)
        return kept(std::move(name).value());
    const base::Error error = base::systemError();
    quarantine::moveNoReplace(directory_, name.value(), file_.parent, file_.leaf);
    return error;
}

base::Result<std::string> Quarantining::copy()
{
    // No quarantined file is ever among the notes, so what is left there of a killed process can be told.
    auto copy = quarantine::NewFile::create(notes_.value().directory());
    if (!copy)
        return copy.error();
    const auto content = quarantine::digestFile(file_.fd, copy.value().fd(), beat_);
    if (!content)
        return content.error();
    if (const auto done = takeOverAttributes(copy.value().fd()); !done)
        return done.error();
    if (const auto safe = syncFile(copy.value().fd(), beat_); !safe)
        return safe.error();
    base::Result<std::string> name = takeName(content.value(), [&](const std::string& candidate) {
        return copy.value().publish(directory_, candidate);
    });
    if (!name)
        return name.error();
    if (const auto removed = deleteFile(file_); !removed)
        return removed.error();
    copy.value().keep();
    return kept(std::move(name).value());
}

/// The note is there before the file: whatever happens in between, no file comes without one.
base::Result<std::string>
Quarantining::takeName(const quarantine::Digest& content,
                       const std::function<base::Result<bool>(const std::string&)>& take)
{
    return takeFirstFree(directory_, file_.leaf, "", [&](const std::string& candidate) {
        const auto noted = addNote(candidate, content);
        return noted ? take(candidate) : noted;
    });
}

base::Result<bool> Quarantining::addNote(const std::string& name, const quarantine::Digest& content)
{
    note_.reset();
    const std::string origin = originOf(file_);
    if (origin.empty())
        return unnoted(base::systemError(ENAMETOOLONG));
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    base::Result<quarantine::NewFile> note =
        notes_.value().add({name, origin, virus_, content, status_.st_uid, status_.st_gid,
                            status_.st_mode & 0777, status_.st_atim, status_.st_mtim, now});
    if (!note)
        return unnoted(note.error());
    note_ = std::move(note).value();
    return true;
}

/// Owner first: a change of owner may take mode bits away, never give any.
base::Result<bool> Quarantining::takeOverAttributes(int copy) const
{
    const timespec times[] = {status_.st_atim, status_.st_mtim};
    if ((::geteuid() == 0 && ::fchown(copy, status_.st_uid, status_.st_gid) != 0) ||
        ::fchmod(copy, 0600) != 0 || ::futimens(copy, times) != 0)
        return base::systemError();
    return true;
}

std::string Quarantining::kept(std::string name)
{
    note_->keep();
    return name;
}

} // namespace

base::Result<std::string> quarantineFile(const ScannedFile& file, const std::string& virus,
                                         const std::string& directory, const quarantine::Beat& beat)
{
    if (const auto same = verifyUnchanged(file); !same)
        return same.error();
    const base::Result<base::UniqueFd> opened = openQuarantine(directory);
    if (!opened)
        return opened.error();
    return Quarantining(file, virus, opened.value().get(), beat).run();
}

} // namespace vardo
