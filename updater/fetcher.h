#pragma once

#include "base/uniquefd.h"
#include "protocol/updatemessage.h"
#include "updater/interruption.h"

#include <chrono>
#include <functional>
#include <string>

#include <sys/types.h>

namespace updater {

/// The process that does what root must not do. It has no rights but those in the two directories, and ends
/// with us.
class Fetcher
{
  public:
    /// Starts it for a task, with `input` to read: in the working directory `folder`, with `temporary` for
    /// its own files. Loading takes no network.
    Fetcher(const char* task, const std::string& input, int folder, int temporary);
    /// Ends it, by force if need be.
    ~Fetcher();
    Fetcher(const Fetcher&) = delete;
    Fetcher& operator=(const Fetcher&) = delete;

    using Clock = std::chrono::steady_clock;

    /// Hands each message to `onMessage` up to the last one, the result, which it returns. What ends
    /// otherwise has a result of its own: UPDATE_STOPPED, or UPDATE_ERROR with the reason. It is never
    /// trusted to end.
    update::Message follow(Interruption& interruption, Clock::time_point deadline,
                           const std::function<void(const update::Message&)>& onMessage);

  private:
    void start(const char* task, int input, int output, int folder, int temporary);

    pid_t pid_ = -1;
    base::UniqueFd output_;
    std::string failure_;
};

/// The user that such a process is.
constexpr uid_t fetcherUser = 65534;
constexpr gid_t fetcherGroup = 65534;

} // namespace updater
