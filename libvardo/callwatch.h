#pragma once

#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>

namespace vardo {

/// Watches one thread's calls that may block for ever, such as opening a file of a server that has gone.
///
/// Such a call cannot be ended. So its thread is given up: another one takes over what it was doing, and when
/// the call returns after all, the thread unwinds and touches nothing.
class CallWatch
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Thrown in a thread that was given up.
    struct GivenUp
    {
    };

    /// The result of `call`, which may use nothing that others use, but what it keeps alive itself. errno is
    /// as `call` left it.
    template <class Call>
    auto run(const Call& call)
    {
        enter();
        auto result = call();
        const int code = errno;
        leave();
        errno = code;
        return result;
    }

    /// Gives the thread up if it has been in its present call for that long. May be called from another
    /// thread.
    bool giveUp(Clock::duration limit);

  private:
    void enter();
    void leave();

    std::mutex mutex_;
    std::thread::id caller_; ///< the thread in a call; none otherwise
    Clock::time_point since_;
};

} // namespace vardo
