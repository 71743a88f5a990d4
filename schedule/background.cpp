#include "schedule/background.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace {

constexpr std::chrono::milliseconds blink(30);

/// Shared by the thread and who waits for it.
struct Job
{
    std::mutex mutex;
    std::condition_variable done;
    std::optional<Background::Result> result;
    bool awaited = true;
};

} // namespace

struct Background::Mailbox
{
    std::mutex mutex;
    QObject* owner = nullptr; ///< null once it has gone
};

Background::Background(QObject* owner)
    : mailbox_(std::make_shared<Mailbox>())
{
    mailbox_->owner = owner;
}

Background::~Background()
{
    const std::lock_guard lock(mailbox_->mutex);
    mailbox_->owner = nullptr;
}

void Background::run(std::function<Result()> work)
{
    auto job = std::make_shared<Job>();
    std::thread([job, mailbox = mailbox_, work = std::move(work)] {
        Result result = work();
        {
            const std::lock_guard lock(job->mutex);
            if (job->awaited) {
                job->result = std::move(result);
                job->done.notify_one();
                return;
            }
        }
        const std::lock_guard lock(mailbox->mutex);
        if (mailbox->owner)
            QMetaObject::invokeMethod(mailbox->owner, std::move(result), Qt::QueuedConnection);
    }).detach();

    std::unique_lock lock(job->mutex);
    job->awaited = job->done.wait_for(lock, blink, [&] { return job->result.has_value(); });
    lock.unlock();
    if (job->awaited)
        (*job->result)();
}
