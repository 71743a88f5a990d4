#pragma once

#include "base/uniquefd.h"
#include "libvardo/scansession.h"
#include "protocol/message.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

namespace vardo {

/// One file that waits for its verdict.
struct ScanJob
{
    std::uint64_t id = 0;
    int fd = -1;
    std::uint64_t size = 0;
    std::uint64_t work = 0;      ///< as ScanSession::submit has it
    std::chrono::seconds time{}; ///< that a worker has for it
    bool suspect = false;        ///< was in hand when the service was lost
};

/// The client's end of one worker: what it has in hand, and since when. Believes nothing that the
/// worker says without a check.
class WorkerLink
{
  public:
    using Clock = std::chrono::steady_clock;

    WorkerLink(std::uint32_t number, base::UniqueFd socket);

    std::uint32_t number() const { return number_; }
    int descriptor() const { return socket_.get(); }
    bool ready() const { return ready_; }
    /// True when it should be given more, so that it never waits for work; `manyWait` while there is so much
    /// of it that none will be left for others only because this one has it.
    bool hungry(bool manyWait) const;
    bool alive() const { return !gone_; }
    std::size_t outstanding() const { return jobs_.size(); }
    /// Since when it works on the file it has in hand, or starts; no limit runs while it has none.
    bool busy() const { return !ready_ || !jobs_.empty(); }
    Clock::time_point busySince() const { return since_; }
    /// How long it may work on the file in hand; it must have one.
    std::chrono::seconds timeInHand() const { return jobs_.front().time; }

    /// Hands over a batch. Returns 0 or an errno value; then the files are still the caller's. A worker
    /// that is found dead has perhaps left answers, which `receive` gives before it says Broken.
    int send(const std::vector<ScanJob>& batch);

    enum class Event { Nothing, Ready, Finished, Broken };
    /// Takes one message. With Finished, `id` and `verdict` are set. Broken: it died or cannot be trusted.
    Event receive(std::uint64_t& id, Verdict& verdict);

    /// The files it has not answered, in order; it has none afterwards.
    std::deque<ScanJob> takeJobs();

  private:
    bool readResult(std::span<const std::byte> data, std::uint64_t& id, Verdict& verdict) const;
    void dropFirst();

    std::uint32_t number_;
    base::UniqueFd socket_;
    bool ready_ = false;
    bool gone_ = false;
    Clock::time_point since_;
    std::deque<ScanJob> jobs_;
    std::deque<std::size_t> batches_; ///< files not answered, for each batch under way
    std::uint64_t bytes_ = 0;         ///< of the files not answered
};

} // namespace vardo
