#pragma once

#include "base/uniquefd.h"
#include "libvardo/scansession.h"
#include "libvardo/workerlink.h"
#include "protocol/protocol.h"

#include <chrono>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vardo {

/// The session over a connection to the scanning service, which is started again when it is lost.
class ServiceSession final : public ScanSession
{
  public:
    /// `control` is a connection over which `begin` was sent, `wake` an eventfd. Neither blocks.
    ServiceSession(ServicePaths paths, const qsavd::Begin& begin, base::UniqueFd control, base::UniqueFd wake,
                   Handlers handlers);
    ~ServiceSession() override;

    void submit(std::uint64_t id, int fd, std::uint64_t size, std::uint64_t work) override;

  private:
    using Clock = WorkerLink::Clock;
    using Workers = std::list<WorkerLink>;

    void run();
    bool takeSubmitted();
    bool stopping();
    void wait();
    void readControl();
    void readWorker(Workers::iterator worker);
    bool controlIsLost();
    void checkTimes();
    void dispatch();
    bool manyWait() const;
    ScanJob takeNext();
    std::vector<ScanJob> takeBatch();
    void putBack(const std::vector<ScanJob>& jobs);
    void refuseUnusable(const std::vector<ScanJob>& jobs);
    void retire(Workers::iterator worker, const std::string& remark);
    void sendKills();
    void lose(const std::string& why);
    void takeBackJobs();
    void reopen();
    void fail(const ScanJob& job, const std::string& remark) const;
    Clock::time_point deadline(const WorkerLink& worker) const;
    Clock::time_point patienceEnd() const;
    int millisecondsLeft() const;

    const ServicePaths paths_;
    const qsavd::Begin begin_;
    base::UniqueFd control_; ///< none while the service is lost
    base::UniqueFd wake_;
    const Handlers handlers_;

    std::mutex mutex_;
    std::vector<ScanJob> submitted_; ///< by mutex_
    bool stopping_ = false;          ///< by mutex_

    // Of the thread alone.
    std::deque<ScanJob> queue_; ///< in the order in which they were submitted
    Workers workers_;
    std::deque<std::uint32_t> kills_; ///< workers that the service has yet to be told to kill
    Clock::time_point lastSign_;      ///< of the service's life
    unsigned failedStarts_ = 0;
    unsigned losses_ = 0; ///< of the service, since the last verdict
    bool retrySoon_ = false;
    bool givenUp_ = false;
    std::thread thread_;
};

} // namespace vardo
