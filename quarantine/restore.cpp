#include "quarantine/restore.h"

#include "base/plainfile.h"
#include "base/systemerror.h"
#include "quarantine/origin.h"
#include "quarantine/record.h"
#include "quarantine/restorenotes.h"
#include "quarantine/rightsof.h"

#include <algorithm>
#include <vector>

namespace quarantine {

namespace {

constexpr char noNote[] = "it was not noted where this file was";
constexpr char notKnown[] = "it is not the file that was quarantined";

base::Error because(const char* text, int code = 0)
{
    return {code, text};
}

/// One restoration, step by step.
class Restoration
{
  public:
    Restoration(int quarantine, const RestoreNotes& notes, std::string name)
        : quarantine_(quarantine)
        , notes_(notes)
        , name_(std::move(name))
    {
    }

    base::Result<std::string> run();

  private:
    base::Result<StoredNote> chooseNote(std::vector<StoredNote> notes) const;
    base::Result<bool> moveBack(const StoredNote& stored) const;
    base::Result<bool> putBack(const RestoreNote& note) const;
    base::Result<bool> takeAttributes(int copy, const RestoreNote& note) const;
    bool removeFromQuarantine() const;

    const int quarantine_;
    const RestoreNotes& notes_;
    const std::string name_;
    base::UniqueFd file_;
    struct stat status_ = {};
};

base::Result<std::string> Restoration::run()
{
    const int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    file_.reset(::openat(quarantine_, name_.c_str(), flags));
    if (!file_ || ::fstat(file_.get(), &status_) != 0)
        return base::systemError();
    if (!S_ISREG(status_.st_mode))
        return because("not a file");
    const std::vector<StoredNote> notes = notes_.of(name_);
    if (notes.empty())
        return because(noNote);
    const base::Result<StoredNote> stored = chooseNote(notes);
    if (!stored)
        return stored.error();

    if (const auto moved = moveBack(stored.value()); !moved)
        return moved.error();
    for (const StoredNote& note : notes)
        notes_.drop(note);
    return stored.value().note.origin;
}

base::Result<bool> Restoration::moveBack(const StoredNote& stored) const
{
    const RightsOf author(stored.author);
    if (!author)
        return because("cannot act with the rights of the note's author", EPERM);
    if (const auto back = putBack(stored.note); !back)
        return back;
    if (!removeFromQuarantine())
        return base::Error{errno, "restored, but still in quarantine too: " + base::describeError(errno)};
    return true;
}

/// The newest of those that are about this very content. A file of another size is not even read: its owner
/// may have made it as long as can be.
base::Result<StoredNote> Restoration::chooseNote(std::vector<StoredNote> notes) const
{
    std::erase_if(notes, [this](const StoredNote& stored) { return !stored.isAbout(status_); });
    if (notes.empty())
        return because(notKnown);
    const base::Result<Digest> content = digestFile(file_.get());
    if (!content)
        return content.error();
    std::erase_if(notes, [&](const StoredNote& stored) { return stored.note.content != content.value(); });
    if (notes.empty())
        return because(notKnown);
    return *std::min_element(notes.begin(), notes.end(),
                             [](const StoredNote& a, const StoredNote& b) { return a.isNewerThan(b.note); });
}

/// Always as a copy: what is checked is then what is written, and nothing else that has the file open, or
/// another name of it, comes along.
base::Result<bool> Restoration::putBack(const RestoreNote& note) const
{
    const auto origin = openOrigin(note.origin);
    if (!origin)
        return origin.error();
    const int directory = origin.value().directory.get();
    const std::string& leaf = origin.value().leaf;
    struct stat there = {};
    if (::fstatat(directory, leaf.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0)
        return because("something else is at its place by now", EEXIST);
    base::Result<NewFile> copy = NewFile::create(directory);
    if (!copy)
        return copy.error();
    const base::Result<Digest> content = digestFile(file_.get(), copy.value().fd());
    if (!content)
        return content.error();
    if (content.value() != note.content)
        return because("it changes just now");
    if (const auto taken = takeAttributes(copy.value().fd(), note); !taken)
        return taken;
    const auto published = copy.value().publish(directory, leaf);
    if (published)
        copy.value().keep();
    return published;
}

/// Permissions come last: by then the file belongs to whom they are meant for.
base::Result<bool> Restoration::takeAttributes(int copy, const RestoreNote& note) const
{
    const timespec times[] = {note.accessed, note.modified};
    if ((::geteuid() == 0 && ::fchown(copy, note.owner, note.group) != 0) || ::futimens(copy, times) != 0 ||
        ::fchmod(copy, note.mode & 0777) != 0)
        return base::systemError();
    return true;
}

/// Takes away the file that was restored, and no other of its name.
bool Restoration::removeFromQuarantine() const
{
    struct stat now = {};
    if (::fstatat(quarantine_, name_.c_str(), &now, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (now.st_dev == status_.st_dev && now.st_ino == status_.st_ino)
        return ::unlinkat(quarantine_, name_.c_str(), 0) == 0;
    errno = ESTALE;
    return false;
}

} // namespace

base::Result<std::string> restoreFile(int quarantine, const std::string& name)
{
    if (!isPlainName(name))
        return because("not the name of a file in quarantine");
    const auto notes = RestoreNotes::open(quarantine);
    if (!notes) {
        struct stat status = {};
        const bool exists = ::fstatat(quarantine, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        return exists ? because(noNote) : base::systemError();
    }
    return Restoration(quarantine, notes.value(), name).run();
}

} // namespace quarantine
