#include "libvardo/servicesession.h"

#include "base/systemerror.h"
#include "engine/interface.h"
#include "libvardo/servicelink.h"
#include "libvardo/threadsignals.h"
#include "protocol/filetime.h"
#include "protocol/message.h"

#include <algorithm>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>

namespace vardo {

namespace {

constexpr auto graceTime =
    std::chrono::seconds(5); ///< beyond a file's own limit, which a worker keeps itself
constexpr auto startTime = std::chrono::seconds(30); ///< for a worker to get ready
constexpr auto retryTime = std::chrono::milliseconds(20);
constexpr auto reopenPause = std::chrono::milliseconds(100);
constexpr unsigned maxFailedStarts = 8; ///< in a row, then the session counts as lost
constexpr unsigned maxLosses = 3;       ///< in a row, then no more is scanned
constexpr std::uint64_t largeFile = qsavd::maxBatchBytes / 4;
constexpr std::size_t fewFiles = 16; // for each worker, as at the end of a scan
constexpr std::size_t manyFiles =
    96; // for any number of workers; fewer are open at once than would be needed
constexpr std::uint64_t mostOvertaken = 256; ///< files that are begun before one that was there earlier

constexpr const char* crashedRemark = "not scanned: the scanner failed on this file";
constexpr const char* endedRemark =
    "not scanned: the scanning service ended twice while it scanned this file";

/// True for the errors of a socket that has too much on its way.
bool isPassing(int failure)
{
    return failure == EAGAIN || failure == ETOOMANYREFS || failure == ENOBUFS || failure == ENOMEM;
}

} // namespace

ServiceSession::ServiceSession(ServicePaths paths, const qsavd::Begin& begin, base::UniqueFd control,
                               base::UniqueFd wake, Handlers handlers)
    : paths_(std::move(paths))
    , begin_(begin)
    , control_(std::move(control))
    , wake_(std::move(wake))
    , handlers_(std::move(handlers))
    , lastSign_(Clock::now())
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

void ServiceSession::submit(std::uint64_t id, int fd, std::uint64_t size, std::uint64_t work)
{
    ScanJob job{id, fd, size, work, std::chrono::seconds(std::max(1u, begin_.maxSeconds))};
    struct stat file = {};
    if (size > qsavd::bytesForTime && size <= begin_.maxFileSize && fstat(fd, &file) == 0)
        job.time = qsavd::timeForFile(static_cast<std::uint32_t>(job.time.count()), file);
    bool first = false;
    {
        const std::lock_guard lock(mutex_);
        first = submitted_.empty();
        submitted_.push_back(job);
    }
    if (first)
        eventfd_write(wake_.get(), 1);
}

void ServiceSession::run()
{
    leaveSignalsToOthers();
    while (takeSubmitted()) {
        if (givenUp_)
            queue_.clear();
        else if (!control_)
            reopen();
        dispatch();
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

bool ServiceSession::stopping()
{
    const std::lock_guard lock(mutex_);
    return stopping_;
}

void ServiceSession::wait()
{
    const short writable = kills_.empty() ? 0 : POLLOUT;
    std::vector<pollfd> watched{{wake_.get(), POLLIN, 0},
                                {control_.get(), static_cast<short>(POLLIN | writable), 0}};
    std::vector<Workers::iterator> sources;
    for (auto worker = workers_.begin(); worker != workers_.end(); ++worker) {
        watched.push_back({worker->descriptor(), POLLIN, 0});
        sources.push_back(worker);
    }
    if (poll(watched.data(), watched.size(), millisecondsLeft()) > 0) {
        // Losing the service does away with the workers.
        for (std::size_t i = 0; i < sources.size() && control_; ++i)
            if (watched[i + 2].revents != 0)
                readWorker(sources[i]);
        if ((watched[1].revents & ~POLLOUT) != 0 && control_)
            readControl();
        if (watched[1].revents & POLLOUT)
            sendKills();
    }
    checkTimes();
}

void ServiceSession::readControl()
{
    qsavd::Message message;
    const qsavd::Receive received = qsavd::receiveMessage(control_.get(), message, MSG_DONTWAIT);
    if (received == qsavd::Receive::Nothing)
        return;
    lastSign_ = Clock::now();
    qsavd::WorkerStarted started;
    qsavd::Loading loading;
    qsavd::Failed failed;
    const bool told = received == qsavd::Receive::Message;
    if (told && qsavd::parse(message.data(), started) && message.fds.size() == 1)
        workers_.emplace_back(started.worker, std::move(message.fds.front()));
    else if (told && qsavd::parse(message.data(), failed))
        lose(std::string(qsavd::getText(failed.text)));
    else if (!told || !qsavd::parse(message.data(), loading))
        lose("The scanning service has ended.");
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
            losses_ = 0;
            handlers_.done(id, std::move(verdict));
            break;
        case WorkerLink::Event::Broken:
            if (!controlIsLost())
                retire(worker, crashedRemark);
            return;
        }
    }
}

/// The workers die with their service, which hangs up before that.
bool ServiceSession::controlIsLost()
{
    pollfd watched{control_.get(), POLLIN, 0};
    while (control_ && poll(&watched, 1, 0) > 0)
        readControl();
    return !control_;
}

void ServiceSession::checkTimes()
{
    const auto now = Clock::now();
    for (auto worker = workers_.begin(); control_ && worker != workers_.end();) {
        const auto current = worker++;
        if (!current->busy() || deadline(*current) > now)
            continue;
        const auto time = current->ready() ? current->timeInHand() : startTime;
        retire(current, "not scanned: took longer than " + std::to_string(time.count()) + " s");
    }
    if (control_ && patienceEnd() <= now)
        lose("The scanning service does not answer.");
}

void ServiceSession::dispatch()
{
    retrySoon_ = false;
    while (!queue_.empty()) {
        const bool many = manyWait();
        const auto worker = std::min_element(workers_.begin(), workers_.end(),
                                             [many](const WorkerLink& a, const WorkerLink& b) {
                                                 return std::pair(!a.hungry(many), a.outstanding()) <
                                                        std::pair(!b.hungry(many), b.outstanding());
                                             });
        if (worker == workers_.end() || !worker->hungry(many))
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
        if (!worker->alive())
            continue;
        retrySoon_ = isPassing(failure);
        if (!retrySoon_)
            lose("Files cannot be handed to the scanning service: " + base::describeError(failure));
        return;
    }
}

bool ServiceSession::manyWait() const
{
    return queue_.size() > std::min(fewFiles * workers_.size(), manyFiles);
}

/// The largest file first, so that none of them is begun when there is nothing else left to do. But results
/// are told in the order of the walk, so nothing waits too long.
ScanJob ServiceSession::takeNext()
{
    auto next = queue_.begin();
    if (queue_.back().id - next->id < mostOvertaken) {
        const auto largest = std::max_element(
            queue_.begin(), queue_.end(), [](const ScanJob& a, const ScanJob& b) { return a.work < b.work; });
        if (largest->work >= largeFile)
            next = largest;
    }
    const ScanJob job = *next;
    queue_.erase(next);
    return job;
}

/// As many files as are quickly done together; when few wait, one, so that they are spread over the workers.
std::vector<ScanJob> ServiceSession::takeBatch()
{
    const std::size_t most = manyWait() ? qsavd::maxBatchFiles : 1;
    std::vector<ScanJob> batch{takeNext()};
    std::uint64_t bytes = batch.front().size;
    while (!queue_.empty() && batch.size() < most && bytes + queue_.front().size <= qsavd::maxBatchBytes) {
        bytes += queue_.front().size;
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
    kills_.push_back(worker->number());
    sendKills();
    const bool started = worker->ready();
    std::deque<ScanJob> jobs = worker->takeJobs();
    workers_.erase(worker);
    lastSign_ = Clock::now(); // from here on the service has to replace it
    if (!jobs.empty()) {
        // It answers in order, so the first file is the one it worked on.
        fail(jobs.front(), remark);
        jobs.pop_front();
        queue_.insert(queue_.begin(), jobs.begin(), jobs.end());
    }
    if (!started && ++failedStarts_ >= maxFailedStarts)
        lose("The scanning service cannot start its workers.");
}

/// What does not fit into the socket now is sent when there is room.
void ServiceSession::sendKills()
{
    while (control_ && !kills_.empty()) {
        qsavd::KillWorker kill;
        kill.worker = kills_.front();
        if (qsavd::sendMessage(control_.get(), qsavd::asBytes(kill), {}, MSG_DONTWAIT) != 0)
            return; // a service that is gone is found out by reading
        kills_.pop_front();
    }
}

void ServiceSession::lose(const std::string& why)
{
    control_.reset();
    takeBackJobs();
    kills_.clear();
    failedStarts_ = 0;
    if (++losses_ < maxLosses)
        return;
    givenUp_ = true;
    queue_.clear();
    handlers_.lost("The scan cannot go on, after three attempts. " + why);
}

/// The service may have died of a file, so one that was in hand has a second chance and no third.
void ServiceSession::takeBackJobs()
{
    for (WorkerLink& worker : workers_) {
        std::deque<ScanJob> jobs = worker.takeJobs();
        if (!jobs.empty() && std::exchange(jobs.front().suspect, true)) {
            fail(jobs.front(), endedRemark);
            jobs.pop_front();
        }
        queue_.insert(queue_.begin(), jobs.begin(), jobs.end());
    }
    workers_.clear();
}

void ServiceSession::reopen()
{
    std::this_thread::sleep_for(reopenPause);
    auto link = beginSession(paths_, begin_, [this] { return !stopping(); });
    lastSign_ = Clock::now();
    if (link) {
        control_ = std::move(link.value().socket);
        if (handlers_.opened)
            handlers_.opened(link.value().info);
    } else if (link.error().code != ECANCELED) {
        lose(link.error().text);
    }
}

void ServiceSession::fail(const ScanJob& job, const std::string& remark) const
{
    handlers_.done(job.id, {SCANSTAT_ERROR, {}, {}, remark});
}

ServiceSession::Clock::time_point ServiceSession::deadline(const WorkerLink& worker) const
{
    return worker.busySince() + (worker.ready() ? worker.timeInHand() + graceTime : startTime);
}

/// A service without a worker is expected to start one.
ServiceSession::Clock::time_point ServiceSession::patienceEnd() const
{
    return workers_.empty() ? lastSign_ + paths_.patience : Clock::time_point::max();
}

int ServiceSession::millisecondsLeft() const
{
    using std::chrono::milliseconds;
    if (givenUp_)
        return -1;
    if (!control_)
        return 0;
    auto first = std::min(patienceEnd(), retrySoon_ ? Clock::now() + retryTime : Clock::time_point::max());
    for (const WorkerLink& worker : workers_)
        if (worker.busy())
            first = std::min(first, deadline(worker));
    if (first == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<milliseconds>(first - Clock::now()).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, 1 << 30));
}

} // namespace vardo
