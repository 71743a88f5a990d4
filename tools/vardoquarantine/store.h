#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "quarantine/record.h"
#include "quarantine/restorenotes.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

/// What is known about one name in the quarantine.
struct Item
{
    std::string name;
    std::optional<struct stat> file;             ///< what has the name in the directory
    std::optional<quarantine::Record> record;    ///< the first one
    std::optional<quarantine::RestoreNote> note; ///< the newest one to be believed
    bool leftBehind = false;                     ///< the file is where it was, too

    bool isFile() const { return file && S_ISREG(file->st_mode); }
};

/// One thing that repair() did.
struct Repair
{
    enum class Kind {
        Recorded,
        RecordDropped,
        NoteDropped,
        LockedUp,
        UnfinishedRemoved,
        OriginalRemoved,
        StillAtOrigin, ///< and left there
    };
    Kind kind;
    std::string name; ///< of the quarantined file; empty for what had none yet
};

/// The quarantine: the directory, the notes in it and, if it is the one of the window, the record file.
/// Names are those of entries of the directory.
class Store
{
  public:
    /// Without a path that of the window.
    static base::Result<Store> open(const std::string& path);

    /// Everything that has a name, sorted by it.
    std::vector<Item> items() const;

    /// False when repair() has something to do: a record without a file, a file without the record that it
    /// can have, or one that is where it was, too.
    bool matches(const Item& item) const;

    /// Puts the file back and forgets it. The result is where it is.
    base::Result<std::string> restore(const std::string& name) const;

    /// Deletes the file, or what is still known about a file that has gone.
    base::Result<bool> remove(const std::string& name) const;

    /// Makes directory, records and notes agree, for as much of it as the caller may see and do, and clears
    /// away what killed processes left. Fails when the record file cannot be written.
    base::Result<std::vector<Repair>> repair() const;

  private:
    Store(base::UniqueFd directory, bool recorded);
    std::vector<Item> itemsWith(const std::optional<std::string>& records) const;
    bool isRecorded(const Item& item) const;
    std::optional<struct stat> statusOf(const std::string& name) const;
    bool dropRecord(const std::string& name) const;
    std::string mendedRecords(const std::string& records, std::vector<Repair>& repairs) const;
    bool repairRecords(std::vector<Repair>& repairs) const;
    void repairNotes(std::vector<Repair>& repairs) const;
    void finishMoves(std::vector<Repair>& repairs) const;
    void lockUp(std::vector<Repair>& repairs) const;

    base::UniqueFd directory_;
    bool recorded_; ///< the record file is about this directory
};
