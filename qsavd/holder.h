#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "qsavd/channel.h"
#include "qsavd/signaturefiles.h"
#include "qsavd/workspace.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace qsavd {

/// A process that loads the signatures and then serves the clients that it is given: seen from the one
/// that listens. A new set of signatures gets a process of its own, beside that with the old one.
class Holder
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Starts one for what is in these places now, with so much room for unpacking (see mountOwn()). The
    /// error says why not.
    static base::Result<std::unique_ptr<Holder>> start(const SignaturePlaces& places, unsigned roomKilobytes);
    /// The process must be gone.
    ~Holder();
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    pid_t pid() const { return pid_; }
    int channel() const { return channel_.get(); }
    Clock::time_point started() const { return started_; }
    bool loaded() const { return loaded_; }
    bool usable() const { return state_.usable != 0; }
    unsigned sessions() const { return state_.sessions; }
    /// Bytes of memory that are its own.
    std::uint64_t memory() const;

    /// Takes over what it says of itself. False when it said nothing.
    bool readState();
    /// Gives it a client. False when it takes none.
    bool serve(int client) const;
    /// Tells it that no more clients come.
    void retire() const;

  private:
    Holder(Workspace workspace, base::UniqueFd channel);

    pid_t pid_ = -1;
    Workspace workspace_;
    base::UniqueFd channel_;
    Clock::time_point started_;
    bool loaded_ = false;
    SetState state_;
};

} // namespace qsavd
