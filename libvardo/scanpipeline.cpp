#include "libvardo/scanpipeline.h"

#include "engine/interface.h"
#include "libvardo/closeelsewhere.h"
#include "libvardo/likelywork.h"

#include <utility>

namespace vardo {

namespace {

constexpr std::uint64_t mostMemory = 64 << 20;
constexpr std::size_t mostItems = 8192;
constexpr std::size_t wakeAfter =
    64; // items that need no session; waking costs more than what one of them does

} // namespace

ScanPipeline::ScanPipeline(std::size_t window, Remembering remembering)
    : window_(window)
    , remembering_(std::move(remembering))
{
}

ScanPipeline::~ScanPipeline()
{
    close();
}

base::Result<bool> ScanPipeline::open(const SessionFactory& factory, const SessionOptions& options)
{
    ScanSession::Handlers handlers;
    handlers.opened = [this](const ServiceInfo& service) { remembering_.setService(service); };
    handlers.done = [this](std::uint64_t id, Verdict verdict) { done(id, std::move(verdict)); };
    handlers.lost = [this](std::string why) { lost(std::move(why)); };
    auto opened = factory(options, std::move(handlers), [this] { return !stopped_; });
    if (!opened)
        return opened.error();
    session_ = std::move(opened).value();
    return true;
}

std::shared_ptr<ScanOutcome> ScanPipeline::push(ScanItem item)
{
    const bool submits = item.fd && !item.outcome;
    if (submits)
        item.outcome = std::make_shared<ScanOutcome>();
    std::shared_ptr<ScanOutcome> outcome = item.outcome;
    const int fd = item.fd.get();
    const auto size = static_cast<std::uint64_t>(item.id.size);
    const std::uint64_t work = submits ? likelyWork(item.leaf, size) : 0;
    const bool isFile = item.kind == ScanItem::Kind::File;

    std::unique_lock lock(mutex_);
    if (!hasRoom(item))
        changed_.notify_all();
    changed_.wait(lock, [this, &item] { return stopped_ || hasRoom(item); });
    if (stopped_) {
        lock.unlock();
        closeElsewhere(std::move(item));
        return nullptr;
    }
    const std::uint64_t id = ++lastId_;
    memory_ += item.memory;
    open_ += item.fd ? 1 : 0;
    items_.push_back(std::move(item));
    if (submits)
        pending_.emplace(id, Pending{outcome, &items_.back()});
    // Whoever waits looks again soon.
    const bool wakes = !submits && (!isFile || items_.size() % wakeAfter == 0);
    lock.unlock();
    // The item cannot leave, nor its descriptor close, before the session has answered.
    if (submits)
        session_->submit(id, fd, size, work);
    else if (wakes)
        changed_.notify_all();
    return outcome;
}

bool ScanPipeline::waitForRoom()
{
    std::unique_lock lock(mutex_);
    if (items_.empty())
        return false;
    changed_.notify_all();
    changed_.wait(lock, [this, before = taken_] { return stopped_ || taken_ != before; });
    return !stopped_;
}

void ScanPipeline::finish()
{
    const std::lock_guard lock(mutex_);
    finished_ = true;
    changed_.notify_all();
}

ScanPipeline::Next ScanPipeline::next(ScanItem& item, std::chrono::milliseconds patience)
{
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [this] { return frontIsReady() || ended(); });
    if (!frontIsReady())
        return ended() ? Next::End : Next::Nothing;
    item = std::move(items_.front());
    items_.pop_front();
    memory_ -= item.memory;
    open_ -= item.fd ? 1 : 0;
    ++taken_;
    changed_.notify_all();
    return Next::Item;
}

void ScanPipeline::stop()
{
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

void ScanPipeline::close()
{
    stop();
    session_.reset();
    pending_.clear();
    if (!items_.empty())
        closeElsewhere(std::exchange(items_, {}));
}

std::string ScanPipeline::failure()
{
    const std::lock_guard lock(mutex_);
    return failure_;
}

void ScanPipeline::lost(std::string why)
{
    const std::lock_guard lock(mutex_);
    if (ended())
        return;
    failure_ = std::move(why);
    stopped_ = true;
    dropUnfinished();
    changed_.notify_all();
}

/// What has its verdict is still reported and acted upon. A process of which a part is missing cannot be
/// called clean any more.
void ScanPipeline::dropUnfinished()
{
    bool partsMissing = false;
    std::deque<ScanItem> kept;
    for (ScanItem& item : items_) {
        const bool unfinished = item.outcome && !item.outcome->done_;
        if (item.kind == ScanItem::Kind::Process && partsMissing)
            item.kind = ScanItem::Kind::LostProcess;
        partsMissing = item.kind == ScanItem::Kind::MemoryPart && (partsMissing || unfinished);
        if (!unfinished)
            kept.push_back(std::move(item));
    }
    items_ = std::move(kept);
    pending_.clear();
}

bool ScanPipeline::hasRoom(const ScanItem& item) const
{
    return items_.empty() ||
           (open_ < window_ && items_.size() < mostItems && memory_ + item.memory <= mostMemory);
}

bool ScanPipeline::frontIsReady() const
{
    return !items_.empty() && (!items_.front().outcome || items_.front().outcome->done_);
}

void ScanPipeline::done(std::uint64_t id, Verdict verdict)
{
    std::unique_lock lock(mutex_);
    const auto found = pending_.find(id);
    if (found == pending_.end())
        return;
    const Pending pending = std::move(found->second);
    pending_.erase(found);
    lock.unlock();

    ScanItem& item = *pending.item;
    item.unread.drop(item.fd.get());
    struct stat status = {};
    // Whoever could not read a file may not be able to look at it either, and wait for ever.
    if (verdict.status == SCANSTAT_CLEAN &&
        (::fstat(item.fd.get(), &status) != 0 || fileId(status) != item.id))
        verdict = {SCANSTAT_ERROR, {}, {}, "changed while it was scanned"};
    if (verdict.status == SCANSTAT_CLEAN && verdict.remark.empty())
        remembering_.add(item.key);

    base::UniqueFd file;
    std::shared_ptr<const base::UniqueFd> parent;
    lock.lock();
    const bool wasFull = open_ >= window_;
    if (verdict.status == SCANSTAT_CLEAN) {
        file = std::move(item.fd);
        parent = std::move(item.parent);
        --open_;
    }
    pending.outcome->verdict_ = std::move(verdict);
    pending.outcome->done_ = true;
    if (frontIsReady() || wasFull)
        changed_.notify_all();
    lock.unlock(); // before the files are closed, which may take a moment
}

} // namespace vardo
