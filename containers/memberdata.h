#pragma once

#include "base/uniquefd.h"
#include "containers/bytes.h"

#include <string>
#include <vector>

namespace containers {

/// What was unpacked of one member: in memory while it is small, then in a file without a name.
class MemberData
{
  public:
    /// The file is made in `directory`.
    explicit MemberData(std::string directory)
        : directory_(std::move(directory))
    {
    }

    /// False when there is no room.
    bool append(Content bytes);

    std::uint64_t size() const { return size_; }
    /// The file's descriptor, which stays with this; -1 when all of it is in memory.
    int file() const { return file_.get(); }
    /// What is in memory.
    Content memory() const { return memory_; }

  private:
    bool spill();

    std::string directory_;
    std::vector<std::byte> memory_;
    base::UniqueFd file_;
    std::uint64_t size_ = 0;
};

} // namespace containers
