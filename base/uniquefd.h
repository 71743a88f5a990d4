#pragma once

#include <unistd.h>

#include <utility>

namespace base {

/// Owns one file descriptor and closes it; -1 means none. Movable, not copyable.
class UniqueFd
{
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) noexcept
        : fd_(fd)
    {
    }
    UniqueFd(UniqueFd&& other) noexcept
        : fd_(std::exchange(other.fd_, -1))
    {
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

    /// Gives the descriptor up to the caller, who closes it.
    [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }

    /// Closes what is held and takes `fd` instead.
    void reset(int fd = -1) noexcept
    {
        const int old = std::exchange(fd_, fd);
        if (old >= 0 && old != fd)
            ::close(old);
    }

  private:
    int fd_ = -1;
};

} // namespace base
