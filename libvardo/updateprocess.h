#pragma once

#include "base/uniquefd.h"
#include "protocol/updatemessage.h"

#include <chrono>
#include <optional>
#include <string>

#include <sys/types.h>

namespace vardo {

/// The program that updates, as a child of ours with nothing of ours but two pipes. It ends with this object,
/// and by itself when we are no more.
class UpdateProcess
{
  public:
    /// Starts it by these configuration files; `wishes` go before what they say, a `section:key=value` in
    /// each line.
    UpdateProcess(const char* qsavConf, const char* updatesConf, const std::string& wishes);
    ~UpdateProcess();
    UpdateProcess(const UpdateProcess&) = delete;
    UpdateProcess& operator=(const UpdateProcess&) = delete;

    /// Why it was not started; empty when it was.
    const std::string& failure() const { return failure_; }

    /// The next message, when there is one within so long.
    std::optional<update::Message> next(std::chrono::milliseconds patience);

    /// True when nothing will come any more.
    bool ended() const { return !output_; }

    /// Asks it to stop, and waits for its end no longer than so long.
    void stop(std::chrono::milliseconds patience);

  private:
    bool start(const char* qsavConf, const char* updatesConf, int input, int output);
    static void reapLeftBehind();
    void waitForEnd(std::chrono::milliseconds patience);

    base::UniqueFd control_;
    base::UniqueFd output_;
    base::UniqueFd process_;
    pid_t pid_ = -1;
    update::MessageReader reader_;
    std::string failure_;
};

} // namespace vardo
