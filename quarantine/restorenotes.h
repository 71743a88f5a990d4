#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "quarantine/newfile.h"
#include "quarantine/restorenote.h"

#include <string>
#include <vector>

namespace quarantine {

/// Where the notes are, below the quarantine directory. Quarantined files never come there.
inline constexpr char notesDirectory[] = ".restore";

/// A note as it was found. Whoever may write to the quarantine may have made it.
struct StoredNote
{
    RestoreNote note;
    std::string fileName; ///< in the directory of the notes
    uid_t author = 0;     ///< owner of that file

    /// True when the note may be believed about the file that has its name and this status: it is root's
    /// or that of the file's owner. Whether the content is the same is left to be seen.
    bool isAbout(const struct stat& file) const;

    /// True when it was made later. Of several notes about a file the newest one counts: the others are
    /// about files that had its name before.
    bool isNewerThan(const RestoreNote& other) const;
};

/// The notes about the files of one quarantine directory.
class RestoreNotes
{
  public:
    /// Opens them, making the directory like that of the quarantine if it is to be made and missing.
    static base::Result<RestoreNotes> open(int quarantine, bool make = false);

    /// Adds a note. The result protects it from being dropped, and takes it along at its own end unless told
    /// to keep it.
    base::Result<NewFile> add(const RestoreNote& note) const;

    /// All that the caller can read, or those of one name.
    std::vector<StoredNote> all() const;
    std::vector<StoredNote> of(const std::string& name) const;

    /// Keeps other processes from acting upon the note for as long as the result lives; nothing when one
    /// does, such as the one that is making it.
    base::UniqueFd claim(const StoredNote& note) const;

    /// False when the caller may not, or the note is being made.
    bool drop(const StoredNote& note) const;

    int directory() const { return directory_.get(); }

  private:
    explicit RestoreNotes(base::UniqueFd directory);
    std::vector<StoredNote> read(const std::string& prefix) const;

    base::UniqueFd directory_;
};

/// Drops the notes about `name` that the caller may drop, once the file is gone from the quarantine. For
/// whoever has just deleted it there. Failures are silent: a note without a file does no harm.
void dropRestoreNotes(int quarantine, const std::string& name);

} // namespace quarantine
