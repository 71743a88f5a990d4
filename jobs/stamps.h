#pragma once

#include "base/paths.h"
#include "base/result.h"
#include "base/uniquefd.h"

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace jobs {

/// What is known of the runs of one job. Times are seconds since 1970.
struct Stamp
{
    std::time_t handled = 0; ///< what was due up to then is done with: it ran, or the job was not there yet
    std::time_t begun = 0;   ///< of the last run; 0 while there was none
    std::time_t ended = 0;   ///< of that run; 0 while it runs, and for one that was killed
    int exitCode = 0;        ///< of vardoscan
    unsigned scanned = 0;    ///< objects
    unsigned found = 0;      ///< of these infected or suspicious
    unsigned unscanned = 0;  ///< of these not wholly scanned

    bool operator==(const Stamp&) const = default;
};

/// The stamps of all jobs, by their ids, in a directory of root's alone. A process that is killed leaves each
/// of them whole, the old one or the new one.
class Stamps
{
  public:
    /// Opens `directory`, or makes it. Fails when others could write there.
    static base::Result<Stamps> open(const std::string& directory = paths::scheduleStamps);

    /// Nothing if there is none, or none that makes sense.
    std::optional<Stamp> read(const std::string& id) const;

    /// Lets `change` change the stamp of a job, which is all zeros when there was none. Whoever changes a
    /// stamp at the same time waits.
    base::Result<bool> update(const std::string& id, const std::function<void(Stamp&)>& change);

    /// Holds a job for its run, until the descriptor is closed. Error code EAGAIN while another process does.
    base::Result<base::UniqueFd> hold(const std::string& id) const;

    /// True while a process holds it.
    bool isHeld(const std::string& id) const;

    /// Removes the stamps of all jobs but these.
    void keepOnly(const std::vector<std::string>& ids);

  private:
    explicit Stamps(base::UniqueFd directory)
        : directory_(std::move(directory))
    {
    }
    base::UniqueFd openFile(const std::string& name, int flags) const;
    base::Result<bool> write(const std::string& id, const Stamp& stamp);

    base::UniqueFd directory_;
};

/// Notes that a job was saved at `now`, so that what would have been due before then does not count as
/// missed. False when that is not possible, as for anybody but root.
bool noteSaved(const std::string& id, std::time_t now);

} // namespace jobs
