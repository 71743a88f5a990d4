#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>

namespace qsavd {

/// Where the workers put what they unpack: one directory of the service, below it one for each worker.
/// Root's lies where only root writes; and each service has memory of its own there, where it may mount
/// that. Also clears away what a killed service left behind.
class Workspace
{
  public:
    static base::Result<Workspace> create();

    Workspace(Workspace&&) = default;
    Workspace& operator=(Workspace&&) = default;
    ~Workspace();

    /// Has this process and its children see an empty file system of their own in its place, where that is
    /// allowed. For a process of one thread, while it is still root's; see mountOwn().
    void makePrivate(unsigned kilobytes) const;
    /// The service's own directory.
    const std::string& path() const { return path_; }
    /// Makes an empty directory for one worker, which owns it. Empty when that fails.
    std::string addDirectory(unsigned number) const;
    /// Deletes such a directory with all that is in it.
    static void removeDirectory(const std::string& path);

  private:
    Workspace() = default;
    bool makeIn(const std::string& directory);

    std::string path_;
    base::UniqueFd lock_; ///< its lock tells that the service lives
};

} // namespace qsavd
