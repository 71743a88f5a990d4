#include "libvardo/scansession.h"

#include "base/priority.h"
#include "engine/interface.h"
#include "libvardo/servicelink.h"
#include "libvardo/threadsignals.h"
#include "libvardo/workerlink.h"
#include "protocol/message.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace vardo {

namespace {

using Clock = WorkerLink::Clock;

constexpr auto graceTime =
    std::chrono::seconds(5); ///< beyond a file's own limit, which a worker keeps itself
constexpr auto startTime = std::chrono::seconds(30); ///< for a worker to get ready
constexpr auto retryTime = std::chrono::milliseconds(20);
constexpr unsigned maxFailedStarts = 8; ///< in a row, then the session is given up

constexpr const char* crashedRemark = "not scanned: the scanner failed on this file";
constexpr const char* lostRemark = "not scanned: the scanning service has ended";

/// More than one a core only for whoever asks for them and may use all cores.
unsigned workerCount(unsigned wanted)
{
    const unsigned cores = base::usableCores();
    return wanted == 0 || (wanted > cores && cores < base::allCores()) ? cores : wanted;
}

qsavd::Begin beginMessage(const SessionOptions& options)
{
    const base::Priority priority = base::ownPriority();
    qsavd::Begin begin;
    begin.flags = (options.archives ? qsavd::ScanArchives : 0u) | (options.mails ? qsavd::ScanMails : 0u) |
                  (options.packed ? qsavd::ScanPacked : 0u) |
                  (options.heuristics ? qsavd::ScanHeuristics : 0u);
    begin.workers = workerCount(options.workers);
    begin.nice = static_cast<std::int16_t>(priority.nice);
    begin.ioPriority = static_cast<std::uint16_t>(priority.io);
    begin.maxRecursion = options.maxRecursion;
    begin.maxFiles = options.maxFiles;
    begin.maxSeconds = options.maxSeconds;
    begin.maxFileSize = options.maxFileSize;
    begin.maxScanSize = options.maxScanSize;
    return begin;
}

/// True for the errors of a socket that has too much on its way.
bool isPassing(int failure)
{
    return failure == EAGAIN || failure == ETOOMANYREFS || failure == ENOBUFS || failure == ENOMEM;
}

class ServiceSession final : public ScanSession
{
  public:
    ServiceSession(base::UniqueFd control, base::UniqueFd wake, const SessionOptions& options,
                   DoneHandler done);
    ~ServiceSession() override;

    void submit(std::uint64_t id, int fd, std::uint64_t size) override;

  private:
    using Workers = std::list<WorkerLink>;

    void run();
    bool takeSubmitted();
    void wait();
    void readControl();
    void readWorker(Workers::iterator worker);
    void checkTimes();
    void dispatch();
    std::vector<ScanJob> takeBatch();
    void putBack(const std::vector<ScanJob>& jobs);
    void refuseUnusable(const std::vector<ScanJob>& jobs);
    void retire(Workers::iterator worker, const std::string& remark);
    void giveUp(std::string remark);
    void fail(const ScanJob& job, const std::string& remark) const;
    Clock::time_point deadline(const WorkerLink& worker) const;
    int millisecondsLeft() const;

    base::UniqueFd control_;
    base::UniqueFd wake_;
    DoneHandler done_;
    unsigned seconds_;

    std::mutex mutex_;
    std::vector<ScanJob> submitted_; ///< by mutex_
    bool stopping_ = false;          ///< by mutex_

    // Of the thread alone.
    std::deque<ScanJob> queue_;
    Workers workers_;
    unsigned failedStarts_ = 0;
    bool retrySoon_ = false;
    std::string lost_; ///< why nothing is scanned any more; empty while it is
    std::thread thread_;
};

ServiceSession::ServiceSession(base::UniqueFd control, base::UniqueFd wake, const SessionOptions& options,
                               DoneHandler done)
    : control_(std::move(control))
    , wake_(std::move(wake))
    , done_(std::move(done))
    , seconds_(std::max(1u, options.maxSeconds))
    , thread_([this] { run(); })
{
}

ServiceSession::~ServiceSession()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    eventfd_write(wake_.get(), 1);
    thread_.join();
}

void ServiceSession::submit(std::uint64_t id, int fd, std::uint64_t size)
{
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        first = submitted_.empty();
        submitted_.push_back({id, fd, size});
    }
    if (first)
        eventfd_write(wake_.get(), 1);
}

void ServiceSession::run()
{
    leaveSignalsToOthers();
    while (takeSubmitted()) {
        if (lost_.empty())
            dispatch();
        if (!lost_.empty())
            for (; !queue_.empty(); queue_.pop_front())
                fail(queue_.front(), lost_);
        wait();
    }
}

bool ServiceSession::takeSubmitted()
{
    eventfd_t count = 0;
    eventfd_read(wake_.get(), &count);
    const std::lock_guard lock(mutex_);
    queue_.insert(queue_.end(), submitted_.begin(), submitted_.end());
    submitted_.clear();
    return !stopping_;
}

void ServiceSession::wait()
{
    std::vector<pollfd> watched{{wake_.get(), POLLIN, 0}, {control_.get(), POLLIN, 0}};
    std::vector<Workers::iterator> sources;
    for (auto worker = workers_.begin(); worker != workers_.end(); ++worker) {
        watched.push_back({worker->descriptor(), POLLIN, 0});
        sources.push_back(worker);
    }
    if (poll(watched.data(), watched.size(), millisecondsLeft()) > 0) {
        // Giving up does away with the workers.
        for (std::size_t i = 0; i < sources.size() && lost_.empty(); ++i)
            if (watched[i + 2].revents != 0)
                readWorker(sources[i]);
        if (watched[1].revents != 0 && lost_.empty())
            readControl();
    }
    checkTimes();
}

void ServiceSession::readControl()
{
    qsavd::Message message;
    const qsavd::Receive received = qsavd::receiveMessage(control_.get(), message, MSG_DONTWAIT);
    if (received == qsavd::Receive::Nothing)
        return;
    qsavd::WorkerStarted started;
    qsavd::Failed failed;
    if (received == qsavd::Receive::Message && qsavd::parse(message.data(), started) &&
        message.fds.size() == 1)
        workers_.emplace_back(started.worker, std::move(message.fds.front()));
    else if (received == qsavd::Receive::Message && qsavd::parse(message.data(), failed))
        giveUp("not scanned: " + std::string(qsavd::getText(failed.text)));
    else
        giveUp(lostRemark);
}

void ServiceSession::readWorker(Workers::iterator worker)
{
    for (;;) {
        std::uint64_t id = 0;
        Verdict verdict;
        switch (worker->receive(id, verdict)) {
        case WorkerLink::Event::Nothing:
            return;
        case WorkerLink::Event::Ready:
            failedStarts_ = 0;
            break;
        case WorkerLink::Event::Finished:
            done_(id, std::move(verdict));
            break;
        case WorkerLink::Event::Broken:
            retire(worker, crashedRemark);
            return;
        }
    }
}

void ServiceSession::checkTimes()
{
    const auto now = Clock::now();
    for (auto worker = workers_.begin(); lost_.empty() && worker != workers_.end();) {
        const auto current = worker++;
        if (current->busy() && deadline(*current) <= now)
            retire(current, "not scanned: took longer than " + std::to_string(seconds_) + " s");
    }
}

void ServiceSession::dispatch()
{
    retrySoon_ = false;
    while (!queue_.empty()) {
        const auto worker =
            std::min_element(workers_.begin(), workers_.end(), [](const WorkerLink& a, const WorkerLink& b) {
                return std::pair(!a.hungry(), a.outstanding()) < std::pair(!b.hungry(), b.outstanding());
            });
        if (worker == workers_.end() || !worker->hungry())
            return;
        const std::vector<ScanJob> batch = takeBatch();
        const int failure = worker->send(batch);
        if (failure == 0)
            continue;
        if (failure == EBADF) {
            refuseUnusable(batch);
            continue;
        }
        putBack(batch);
        if (!worker->hungry()) // found dead
            continue;
        retrySoon_ = isPassing(failure);
        if (!retrySoon_)
            giveUp(std::string("not scanned: ") + std::strerror(failure));
        return;
    }
}

std::vector<ScanJob> ServiceSession::takeBatch()
{
    // Few files are spread over the workers rather than given to one.
    const std::size_t most =
        std::clamp<std::size_t>(queue_.size() / workers_.size(), 1, qsavd::maxBatchFiles);
    std::vector<ScanJob> batch;
    std::uint64_t bytes = 0;
    while (!queue_.empty() && batch.size() < most) {
        bytes += queue_.front().size;
        if (!batch.empty() && bytes > qsavd::maxBatchBytes)
            break;
        batch.push_back(queue_.front());
        queue_.pop_front();
    }
    return batch;
}

void ServiceSession::putBack(const std::vector<ScanJob>& jobs)
{
    queue_.insert(queue_.begin(), jobs.begin(), jobs.end());
}

void ServiceSession::refuseUnusable(const std::vector<ScanJob>& jobs)
{
    std::vector<ScanJob> usable;
    for (const ScanJob& job : jobs) {
        if (fcntl(job.fd, F_GETFD) >= 0)
            usable.push_back(job);
        else
            fail(job, "not scanned: not open");
    }
    putBack(usable);
}

void ServiceSession::retire(Workers::iterator worker, const std::string& remark)
{
    qsavd::KillWorker kill;
    kill.worker = worker->number();
    qsavd::sendMessage(control_.get(), qsavd::asBytes(kill), {}, MSG_DONTWAIT);
    const bool started = worker->ready();
    std::deque<ScanJob> jobs = worker->takeJobs();
    workers_.erase(worker);
    if (!jobs.empty()) {
        // It answers in order, so the first file is the one it worked on.
        fail(jobs.front(), remark);
        jobs.pop_front();
        queue_.insert(queue_.begin(), jobs.begin(), jobs.end());
    }
    if (!started && ++failedStarts_ >= maxFailedStarts)
        giveUp("not scanned: the scanner cannot be started");
}

void ServiceSession::giveUp(std::string remark)
{
    lost_ = std::move(remark);
    for (WorkerLink& worker : workers_) {
        const std::deque<ScanJob> jobs = worker.takeJobs();
        queue_.insert(queue_.end(), jobs.begin(), jobs.end());
    }
    workers_.clear();
    control_.reset();
}

void ServiceSession::fail(const ScanJob& job, const std::string& remark) const
{
    done_(job.id, {SCANSTAT_ERROR, {}, {}, remark});
}

Clock::time_point ServiceSession::deadline(const WorkerLink& worker) const
{
    return worker.busySince() + (worker.ready() ? std::chrono::seconds(seconds_) + graceTime : startTime);
}

int ServiceSession::millisecondsLeft() const
{
    using std::chrono::milliseconds;
    auto first = retrySoon_ ? Clock::now() + retryTime : Clock::time_point::max();
    for (const WorkerLink& worker : workers_)
        if (worker.busy())
            first = std::min(first, deadline(worker));
    if (!lost_.empty() || first == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<milliseconds>(first - Clock::now()).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, 1 << 30));
}

} // namespace

base::Result<std::unique_ptr<ScanSession>> ScanSession::open(const ServicePaths& paths,
                                                             const SessionOptions& options, DoneHandler done,
                                                             const std::function<bool()>& beat)
{
    auto link = linkToService(paths, beat);
    if (!link)
        return link.error();
    base::UniqueFd wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    const int failure =
        wake ? qsavd::sendMessage(link.value().socket.get(), qsavd::asBytes(beginMessage(options))) : errno;
    if (failure != 0)
        return base::Error{failure,
                           std::string("The scanning service cannot be used: ") + std::strerror(failure)};
    return std::unique_ptr<ScanSession>(std::make_unique<ServiceSession>(
        std::move(link).value().socket, std::move(wake), options, std::move(done)));
}

} // namespace vardo
