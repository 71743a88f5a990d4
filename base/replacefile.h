#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>
#include <string_view>

#include <sys/stat.h>

namespace base {

/// All that is left to read of `file`, at most `most` bytes; EFBIG when there is more.
Result<std::string> readAll(int file, std::size_t most);

/// The whole of a regular file of at most `most` bytes, and what the file is.
Result<std::string> readRegularFile(const std::string& path, std::size_t most, struct stat& status);

/// A file that is made to take the place of another one, or of none, in one step. Until it has, it goes with
/// this object.
class Replacement
{
  public:
    /// Makes the file `temporary` in `directory`, which must stay open, for the place of `target`. What was
    /// left under that name goes. An empty name stands for one of this process's own.
    Replacement(int directory, std::string target, std::string temporary = {});
    Replacement(Replacement&& other) noexcept = default;
    Replacement& operator=(Replacement&& other) noexcept = delete;
    ~Replacement();

    /// False when the file could not be made, with errno set.
    explicit operator bool() const { return static_cast<bool>(fd_); }
    int fd() const { return fd_.get(); }

    /// Gives the file its content and mode, safe on the disk. With `old`, owner and group are taken over as
    /// far as that is allowed; a group that cannot be taken over leaves its rights behind.
    bool fill(std::string_view text, mode_t mode, const struct stat* old = nullptr);

    /// Replaces the target. False, with errno set, when that is a directory or may not be replaced.
    bool moveIntoPlace();

  private:
    int directory_;
    std::string target_;
    std::string name_;
    UniqueFd fd_;
};

/// Puts `text` in the place of the file at `path` in one step, keeping its owner and mode where that is
/// allowed; a new file gets mode 0660. False, with the file as it was, on any failure; a symbolic link or
/// anything else that is not a regular file is never replaced.
bool replaceFile(const std::string& path, std::string_view text);

} // namespace base
