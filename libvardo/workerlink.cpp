#include "libvardo/workerlink.h"

#include "engine/interface.h"

#include <array>
#include <numeric>

namespace vardo {

namespace {

constexpr std::size_t maxBatches = 3;
constexpr std::size_t maxLargeBatches = 2; // when what is under way takes long anyway

int statusOf(qsavd::Finding finding)
{
    constexpr std::array<int, 6> statuses{SCANSTAT_CLEAN,     SCANSTAT_INFECTED, SCANSTAT_SUSPECTED,
                                          SCANSTAT_ENCRYPTED, SCANSTAT_CORRUPT,  SCANSTAT_ERROR};
    const auto index = static_cast<std::size_t>(finding);
    return index < statuses.size() ? statuses[index] : 0;
}

std::string takeText(std::span<const std::byte>& data, std::size_t length)
{
    std::string text(reinterpret_cast<const char*>(data.data()), length);
    data = data.subspan(length);
    return text;
}

} // namespace

WorkerLink::WorkerLink(std::uint32_t number, base::UniqueFd socket)
    : number_(number)
    , socket_(std::move(socket))
    , since_(Clock::now())
{
}

bool WorkerLink::hungry(bool manyWait) const
{
    if (!ready_ || gone_)
        return false;
    if (bytes_ > qsavd::maxBatchBytes)
        return batches_.size() < (manyWait ? maxLargeBatches : 1);
    return batches_.size() < (manyWait ? maxBatches : maxLargeBatches);
}

int WorkerLink::send(const std::vector<ScanJob>& batch)
{
    qsavd::ScanBatch message;
    std::array<int, qsavd::maxBatchFiles> fds{};
    if (batch.empty() || batch.size() > fds.size())
        return EINVAL;
    message.count = static_cast<std::uint32_t>(batch.size());
    for (std::size_t i = 0; i < batch.size(); ++i) {
        message.ids[i] = batch[i].id;
        fds[i] = batch[i].fd;
    }
    const int failure =
        qsavd::sendMessage(socket_.get(), qsavd::asBytes(message), {fds.data(), batch.size()}, MSG_DONTWAIT);
    gone_ = failure == EPIPE || failure == ECONNRESET;
    if (failure != 0)
        return failure;
    if (jobs_.empty())
        since_ = Clock::now();
    jobs_.insert(jobs_.end(), batch.begin(), batch.end());
    batches_.push_back(batch.size());
    for (const ScanJob& job : batch)
        bytes_ += job.size;
    return 0;
}

WorkerLink::Event WorkerLink::receive(std::uint64_t& id, Verdict& verdict)
{
    qsavd::Message message;
    switch (qsavd::receiveMessage(socket_.get(), message, MSG_DONTWAIT)) {
    case qsavd::Receive::Nothing:
        return Event::Nothing;
    case qsavd::Receive::Closed:
        return Event::Broken;
    case qsavd::Receive::Message:
        break;
    }
    if (qsavd::WorkerReady ready; !ready_ && qsavd::parse(message.data(), ready)) {
        ready_ = true;
        return Event::Ready;
    }
    if (jobs_.empty() || !readResult(message.data(), id, verdict) || id != jobs_.front().id)
        return Event::Broken;
    dropFirst();
    return Event::Finished;
}

std::deque<ScanJob> WorkerLink::takeJobs()
{
    batches_.clear();
    bytes_ = 0;
    return std::exchange(jobs_, {});
}

bool WorkerLink::readResult(std::span<const std::byte> data, std::uint64_t& id, Verdict& verdict) const
{
    qsavd::FileResult head;
    if (data.size() < sizeof head || !qsavd::parse(data.first(sizeof head), head))
        return false;
    data = data.subspan(sizeof head);
    const std::uint64_t texts = std::uint64_t{head.virusLength} + head.innerLength + head.remarkLength;
    verdict.status = statusOf(head.finding);
    if (texts != data.size() || verdict.status == 0)
        return false;
    id = head.id;
    verdict.virus = takeText(data, head.virusLength);
    verdict.inner = takeText(data, head.innerLength);
    verdict.remark = takeText(data, head.remarkLength);
    return true;
}

void WorkerLink::dropFirst()
{
    bytes_ -= jobs_.front().size;
    jobs_.pop_front();
    if (--batches_.front() == 0)
        batches_.pop_front();
    since_ = Clock::now();
}

} // namespace vardo
