#include "libvardo/scanrun.h"

#include "libvardo/threadsignals.h"

#include <algorithm>
#include <exception>
#include <thread>

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

/// Feeds the pipeline, which must outlive it. Ends on every way out.
class ProducerThread
{
  public:
    /// Runs `produce`, which returns what went wrong; empty normally.
    ProducerThread(ScanPipeline& pipeline, std::function<std::string()> produce)
        : pipeline_(pipeline)
        , thread_([this, work = std::move(produce)] { run(work); })
    {
    }
    ProducerThread(const ProducerThread&) = delete;
    ProducerThread& operator=(const ProducerThread&) = delete;
    ~ProducerThread() { join(); }

    void join()
    {
        if (!thread_.joinable())
            return;
        pipeline_.stop();
        thread_.join();
    }
    /// The result of `produce`, after join().
    const std::string& failure() const { return failure_; }

  private:
    void run(const std::function<std::string()>& produce)
    {
        leaveSignalsToOthers();
        try {
            failure_ = produce();
        } catch (const std::exception& problem) {
            failure_ = problem.what();
        }
        pipeline_.finish();
    }

    ScanPipeline& pipeline_;
    std::string failure_;
    std::thread thread_;
};

} // namespace

base::Result<ScanEnd> runScan(const SessionFactory& openSession, const SessionOptions& options,
                              const std::function<void(ScanPipeline&)>& produce, ScanReporter& reporter)
{
    ScanPipeline pipeline(window());
    ProducerThread producer(pipeline, [&]() -> std::string {
        if (const auto opened = pipeline.open(openSession, options); !opened)
            return opened.error().text;
        produce(pipeline);
        return {};
    });
    const bool complete = reporter.run(pipeline);
    producer.join();
    const std::string failure = producer.failure() + pipeline.failure(); // one of them at most
    if (complete && !failure.empty())
        return base::Error{0, failure};
    return ScanEnd{!complete, reporter.recordFailures()};
}

base::Result<ScanEnd> runFileScan(const SessionFactory& openSession, const SessionOptions& options,
                                  const std::vector<std::string>& objects, const WalkOptions& walk,
                                  ScanReporter& reporter)
{
    const auto produce = [&objects, &walk](ScanPipeline& pipeline) {
        Walker walker(pipeline, walk);
        for (const std::string& object : objects)
            walker.walk(object);
    };
    return runScan(openSession, options, produce, reporter);
}

} // namespace vardo
