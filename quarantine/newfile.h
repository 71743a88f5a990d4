#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>

namespace quarantine {

/// Moves `from` in `fromDirectory` to `to` in `toDirectory`, EEXIST when there is something already.
base::Result<bool> moveNoReplace(int fromDirectory, const std::string& from, int toDirectory,
                                 const std::string& to);

/// A file in the making, mode 0600, gone with this object unless it is kept. Before it is published it has
/// no name at all, so that nothing is left of it when the process is killed. Where the file system cannot
/// do that it has a hidden name and is locked: what is not locked any more can be swept away.
class NewFile
{
  public:
    /// `directory` must stay open for as long as this lives. Without `nameless` it has a name from the start.
    static base::Result<NewFile> create(int directory, bool nameless = true);
    NewFile(NewFile&& other) noexcept;
    NewFile& operator=(NewFile&& other) noexcept;
    ~NewFile();

    int fd() const { return fd_.get(); }

    /// Gives the file a name in `directory`, on the same file system, as soon as its content is safe on the
    /// disk; EEXIST when that is taken. `directory` must stay open too.
    base::Result<bool> publish(int directory, const std::string& name);

    /// Leaves the file where it is.
    void keep() { name_.clear(); }

  private:
    NewFile(int directory, std::string name, base::UniqueFd fd);

    int directory_;
    std::string name_; ///< empty: none, or none of ours any more
    base::UniqueFd fd_;
};

/// Removes what killed processes left in the making in `directory`. The result is how many there were.
int sweepUnfinished(int directory);

/// 16 digits that nobody can foresee.
std::string randomDigits();

} // namespace quarantine
