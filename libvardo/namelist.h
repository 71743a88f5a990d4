#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "libvardo/callwatch.h"

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace vardo {

/// The names in one directory, kept in one block because a directory may hold millions.
class NameList
{
  public:
    /// Reads the names in `directory`, without "." and "..", in order of their bytes. Gives up early,
    /// with what was read so far, when `stop` becomes true.
    static base::Result<NameList> read(base::UniqueFd directory, const std::atomic<bool>& stop,
                                       CallWatch& watch);

    std::size_t size() const { return offsets_.size(); }
    const char* operator[](std::size_t index) const { return text_.c_str() + offsets_[index]; }

  private:
    std::string text_; ///< the names, each with its terminator
    std::vector<std::size_t> offsets_;
};

} // namespace vardo
