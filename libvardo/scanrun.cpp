#include "libvardo/scanrun.h"

#include "libvardo/processwalker.h"
#include "libvardo/threadsignals.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include <sys/resource.h>

namespace vardo {

namespace {

constexpr std::size_t largestWindow = 256;

/// An item takes up to two descriptors, and the program around us needs some too.
std::size_t window()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 16;
    return std::clamp<std::size_t>(limit.rlim_cur / 4, 4, largestWindow);
}

/// What the threads of one scan share. One that was left behind is the last to let go of it.
struct Run
{
    explicit Run(Remembering remembering)
        : pipeline(window(), std::move(remembering))
    {
    }

    ScanPipeline pipeline;
    CallWatch watch;
    std::unique_ptr<ScanSource> source;
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;  ///< by mutex: no thread feeds any more
    std::string failure; ///< by mutex: what went wrong; empty normally
};

void work(Run& run, const std::function<std::string(Run&)>& feed)
{
    leaveSignalsToOthers();
    std::string failure;
    try {
        failure = feed(run);
    } catch (const CallWatch::GivenUp&) {
        return;
    } catch (const std::exception& problem) {
        failure = problem.what();
    }
    run.pipeline.finish();
    const std::lock_guard lock(run.mutex);
    run.failure = std::move(failure);
    run.ended = true;
    run.changed.notify_all();
}

/// The thread that feeds a scan.
class FeedingThread
{
  public:
    FeedingThread(std::shared_ptr<Run> run, std::function<std::string(Run&)> feed)
        : run_(std::move(run))
    {
        start(std::move(feed));
    }
    FeedingThread(const FeedingThread&) = delete;
    FeedingThread& operator=(const FeedingThread&) = delete;
    ~FeedingThread() { end(); }

    /// Leaves a thread that has been in one call for `limit` to itself, and goes on with another one.
    void goOnAfter(std::chrono::seconds limit)
    {
        if (!run_->watch.giveUp(limit))
            return;
        thread_.detach();
        const std::string seconds = std::to_string(limit.count());
        start([remark = "not scanned: opening it takes longer than " + seconds + " s"](Run& run) {
            run.source->goOn(remark);
            return std::string();
        });
    }

    /// Stops the scan and ends the thread, or leaves it behind in a call. The result is what went wrong.
    std::string end()
    {
        if (!thread_.joinable())
            return {};
        run_->pipeline.stop();
        std::unique_lock lock(run_->mutex);
        while (!run_->changed.wait_for(lock, patience, [this] { return run_->ended; })) {
            if (run_->watch.giveUp(patience)) {
                thread_.detach();
                return {};
            }
        }
        lock.unlock();
        thread_.join();
        return run_->failure;
    }

  private:
    void start(std::function<std::string(Run&)> feed)
    {
        thread_ = std::thread([run = run_, feed = std::move(feed)] { work(*run, feed); });
    }

    static constexpr std::chrono::milliseconds patience{50};
    const std::shared_ptr<Run> run_;
    std::thread thread_;
};

class FileSource final : public ScanSource
{
  public:
    FileSource(ScanPipeline& pipeline, CallWatch& watch, std::vector<std::string> objects,
               WalkOptions options)
        : pipeline_(pipeline)
        , walker_(pipeline, watch, std::move(options))
        , objects_(std::move(objects))
    {
    }

    void feed() override
    {
        while (next_ < objects_.size() && !pipeline_.stopped())
            walker_.walk(objects_[next_++]);
    }
    void goOn(const std::string& remark) override
    {
        walker_.goOn(remark);
        feed();
    }

  private:
    ScanPipeline& pipeline_;
    Walker walker_;
    const std::vector<std::string> objects_;
    std::size_t next_ = 0;
};

class ProcessSource final : public ScanSource
{
  public:
    ProcessSource(ScanPipeline& pipeline, CallWatch& watch, bool all)
        : walker_(pipeline, watch, all)
    {
    }

    void feed() override { walker_.walk(); }
    void goOn(const std::string& remark) override { walker_.goOn(remark); }

  private:
    ProcessWalker walker_;
};

} // namespace

SourceFactory fileSource(std::vector<std::string> objects, WalkOptions options)
{
    return [objects = std::move(objects), options = std::move(options)](ScanPipeline& pipeline,
                                                                        CallWatch& watch) {
        return std::make_unique<FileSource>(pipeline, watch, objects, options);
    };
}

SourceFactory processSource(bool all)
{
    return [all](ScanPipeline& pipeline, CallWatch& watch) {
        return std::make_unique<ProcessSource>(pipeline, watch, all);
    };
}

base::Result<ScanEnd> runScan(const SessionFactory& openSession, const SessionOptions& options,
                              const SourceFactory& makeSource, ScanReporter& reporter,
                              const RememberSettings& memory)
{
    const auto run = std::make_shared<Run>(Remembering(memory, options));
    run->source = makeSource(run->pipeline, run->watch);
    FeedingThread feeder(run, [openSession, options](Run& scan) -> std::string {
        scan.pipeline.remembering().open(scan.watch);
        if (const auto opened = scan.pipeline.open(openSession, options); !opened)
            return opened.error().text;
        scan.source->feed();
        return {};
    });
    const std::chrono::seconds limit(options.maxSeconds);
    const bool complete = reporter.run(run->pipeline, [&] { feeder.goOnAfter(limit); });
    const std::string failure = feeder.end() + run->pipeline.failure(); // one of them at most
    run->pipeline.close();
    if (complete && !failure.empty())
        return base::Error{0, failure};
    return ScanEnd{!complete, reporter.recordFailures()};
}

} // namespace vardo
