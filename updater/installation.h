#pragma once

#include "base/result.h"
#include "updater/files.h"
#include "updater/settings.h"

#include <map>
#include <string>

namespace updater {

/// Versions of databases by their names.
using Versions = std::map<std::string, unsigned>;

/// The installed set, and what lies beside it: a directory for what an update needs between two runs and
/// while it works, and the set before the last update. Whatever happens between two of its steps, the
/// installed set is whole: the old one or the new one.
class Installation
{
  public:
    enum class Lock { Taken, Busy, Failed };

    /// Opens or makes the directories. All must be root's alone.
    static base::Result<Installation> open(const Settings& settings);

    /// Taken: no other update runs as long as this object lives.
    Lock lock();

    /// Finishes or removes what an update left that was killed. Needs the lock.
    void sweep();

    int live() const { return live_.get(); }
    /// What is kept between two runs, among it the lock.
    int state() const { return state_.get(); }

    /// Makes an empty directory for the next set.
    base::Result<base::UniqueFd> beginNext();
    /// Removes it, where it was not put in place.
    void dropNext();

    /// Copies the databases of the installed set into the place of the backup.
    base::Result<bool> backUp(const Interrupted& interrupted);

    /// Puts the next set into its place at one blow, with all that an administrator has put beside the
    /// databases. Those named in `replaced` are no more, but for what the next set has of them.
    base::Result<bool> putInPlace(const Versions& replaced);

    /// Opens the backup to read; the error says that there is none.
    base::Result<base::UniqueFd> openBackup() const;

  private:
    base::Result<bool> putInPlaceByFiles();
    bool finishByFiles();
    bool carryOver(const Versions& replaced);
    void carryRest(const Versions& replaced);

    base::UniqueFd parent_;
    base::UniqueFd live_;
    base::UniqueFd state_;
    base::UniqueFd lock_;
    base::UniqueFd next_;
    base::UniqueFd backupParent_;
    std::string name_;
    std::string backupName_;
};

/// The version of each database in the open `directory`.
Versions versionsIn(int directory);

/// The file of `database` in the open `directory`; empty when there is none, or more than one.
std::string fileOf(const std::string& database, int directory);

} // namespace updater
