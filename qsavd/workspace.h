#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>

namespace qsavd {

/// Where the workers put what they unpack: one directory of the service, below it one for each worker,
/// in memory where possible. Also clears away what a killed service left behind.
class Workspace
{
  public:
    static base::Result<Workspace> create();

    Workspace(Workspace&&) = default;
    Workspace& operator=(Workspace&&) = default;
    ~Workspace();

    /// The service's own directory.
    const std::string& path() const { return path_; }
    /// Makes an empty directory for one worker, which owns it. Empty when that fails.
    std::string addDirectory(unsigned number) const;
    /// Deletes such a directory with all that is in it.
    static void removeDirectory(const std::string& path);

  private:
    Workspace() = default;

    std::string path_;
    base::UniqueFd lock_; ///< its lock tells that the service lives
};

} // namespace qsavd
