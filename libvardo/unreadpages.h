#pragma once

#include <utility>
#include <vector>

#include <sys/types.h>

namespace vardo {

/// The parts of a file that nobody had in memory before it was scanned. Dropped afterwards, they leave the
/// memory to what its users work with.
class UnreadPages
{
  public:
    /// None.
    UnreadPages() = default;
    /// Those of `fd`, a file of `size` bytes opened for reading. None where the system does not tell, as
    /// about a file that the caller neither owns nor may write.
    UnreadPages(int fd, off_t size);

    /// Lets the system forget them, but for what others use by now. `fd` leads to the same file.
    void drop(int fd) const;

  private:
    void look(int fd, off_t from, std::size_t length);
    void add(off_t from, off_t length);

    std::vector<std::pair<off_t, off_t>> parts_; ///< begin and length, in order
};

} // namespace vardo
