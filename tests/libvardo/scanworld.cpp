#include "tests/libvardo/scanworld.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

vardo::Verdict verdictOf(const QByteArray& content)
{
    if (content.startsWith("infected"))
        return {SCANSTAT_INFECTED, "Test.Virus", {}, {}};
    if (content.startsWith("inner"))
        return {SCANSTAT_INFECTED, "Test.Virus", "a.zip=>b.exe", {}};
    if (content.startsWith("suspected"))
        return {SCANSTAT_SUSPECTED, "Heuristics.Test", {}, {}};
    if (content.startsWith("encrypted"))
        return {SCANSTAT_ENCRYPTED, {}, {}, {}};
    if (content.startsWith("corrupt"))
        return {SCANSTAT_CORRUPT, {}, {}, {}};
    return {SCANSTAT_CLEAN, {}, {}, {}};
}

class FakeSession : public vardo::ScanSession
{
  public:
    FakeSession(FakeService& service, Handlers handlers)
        : service_(service)
        , handlers_(std::move(handlers))
        , thread_([this] { run(); })
    {
    }
    ~FakeSession() override
    {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        thread_.join();
        ++service_.sessionsClosed;
    }

    void submit(std::uint64_t id, int fd, std::uint64_t, std::uint64_t) override
    {
        const std::lock_guard lock(mutex_);
        jobs_.emplace_back(id, fd);
        ++service_.submitted;
        service_.mostInFlight = std::max(service_.mostInFlight.load(), jobs_.size());
        changed_.notify_all();
    }

  private:
    void run()
    {
        std::unique_lock lock(mutex_);
        int answered = 0;
        while (!ending_) {
            const bool waits = service_.holding || jobs_.empty();
            changed_.wait_for(lock, std::chrono::milliseconds(waits ? 5 : service_.delayMs.load()),
                              [this] { return ending_; });
            if (ending_ || jobs_.empty() || service_.holding)
                continue;
            if (answered == service_.loseAfter)
                return handlers_.lost("the session is lost");
            ++answered;
            const auto next = service_.backwards ? std::prev(jobs_.end()) : jobs_.begin();
            const auto [id, fd] = *next;
            jobs_.erase(next);
            lock.unlock();
            char head[64] = {};
            const ssize_t size = ::pread(fd, head, sizeof head, 0);
            const QByteArray content =
                service_.infectsAll ? "infected" : QByteArray(head, std::max<ssize_t>(size, 0));
            if (service_.whileScanning)
                service_.whileScanning(content);
            handlers_.done(id, size < 0 ? vardo::Verdict{SCANSTAT_ERROR, {}, {}, "unreadable"}
                                        : verdictOf(content));
            lock.lock();
        }
    }

    FakeService& service_;
    Handlers handlers_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<std::uint64_t, int>> jobs_;
    bool ending_ = false;
    std::thread thread_;
};

ScanWorld* scanning = nullptr; // the prompt has no context of its own

} // namespace

vardo::SessionFactory FakeService::factory()
{
    return [this](const vardo::SessionOptions& sessionOptions, vardo::ScanSession::Handlers handlers,
                  const std::function<bool()>& goesOn) -> base::Result<std::unique_ptr<vardo::ScanSession>> {
        options = sessionOptions;
        for (; loading; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
            if (!goesOn())
                return base::Error{ECANCELED, "given up"};
        }
        return std::unique_ptr<vardo::ScanSession>(new FakeSession(*this, std::move(handlers)));
    };
}

ScanWorld::ScanWorld()
{
    ::chmod(base_.path().toLocal8Bit().constData(), 0755);
    directory("tree");
    plan.quarantineDir = (base_.path().toLocal8Bit() + "/quarantine").toStdString();
}

QByteArray ScanWorld::path(const QByteArray& name) const
{
    const QByteArray tree = base_.path().toLocal8Bit() + "/tree";
    if (name.startsWith("../"))
        return base_.path().toLocal8Bit() + name.mid(2);
    return name.isEmpty() || name == "tree" ? tree : tree + "/" + name;
}

QByteArray ScanWorld::write(const QByteArray& name, const QByteArray& content)
{
    const QByteArray file = name.startsWith('/') ? name : path(name);
    std::ofstream stream(file.toStdString());
    if (!stream.write(content.constData(), content.size()).flush())
        qFatal("cannot write %s", file.constData());
    return file;
}

void ScanWorld::directory(const QByteArray& name)
{
    if (::mkdir(path(name).constData(), 0755) != 0)
        qFatal("cannot make %s", name.constData());
}

QByteArray ScanWorld::read(const QByteArray& path)
{
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> ScanWorld::list(const QByteArray& directory)
{
    QList<QByteArray> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(directory.toStdString(), missing))
        names.append(QByteArray::fromStdString(entry.path().filename()));
    std::sort(names.begin(), names.end());
    return names;
}

int ScanWorld::scan(const std::vector<std::string>& objects)
{
    vardo::WalkOptions options = walk;
    options.closed.add(plan.quarantineDir);
    return run(vardo::fileSource(objects.empty() ? std::vector{path().toStdString()} : objects, options));
}

int ScanWorld::scanMemory(bool all)
{
    return run(vardo::processSource(all));
}

int ScanWorld::run(const vardo::SourceFactory& source)
{
    calls.clear();
    statistics = {};
    scanning = this;
    vardo::ScanReporter reporter({&ScanWorld::result, this, &ScanWorld::prompt}, plan, statistics);
    const auto end = vardo::runScan(service.factory(), session, source, reporter);
    if (!end) {
        error = end.error().text;
        return -1;
    }
    recordFailures = end.value().recordFailures;
    return end.value().cancelled ? static_cast<int>(SCANRESULT_CANCELLED) : 0;
}

int ScanWorld::result(const char* name, int type, int status, const char* virus, const char* remark,
                      void* context)
{
    auto& world = *static_cast<ScanWorld*>(context);
    world.calls.push_back({name, type, status, virus ? virus : "", remark ? remark : "",
                           world.statistics.scFiles, std::this_thread::get_id()});
    return world.onCall ? world.onCall(world.calls.back()) : static_cast<int>(CALLBACK_CONTINUE);
}

int ScanWorld::prompt(const char* name, char* data)
{
    return scanning->onPrompt ? scanning->onPrompt(name, data) : static_cast<int>(PROMPT_NOTHING);
}

QList<QByteArray> ScanWorld::files(bool withStatus) const
{
    QList<QByteArray> names;
    const std::string prefix = path().toStdString() + "/";
    for (const Call& call : calls) {
        if (call.type != OBJTYPE_FILE || call.status == 0)
            continue;
        const bool below = call.name.compare(0, prefix.size(), prefix) == 0;
        QByteArray name = QByteArray::fromStdString(below ? call.name.substr(prefix.size()) : call.name);
        if (withStatus)
            name += " " + QByteArray::number(call.status);
        names.append(name);
    }
    return names;
}

QList<QByteArray> ScanWorld::directories() const
{
    QList<QByteArray> names;
    for (const Call& call : calls) {
        if (call.type == OBJTYPE_DIRECTORY)
            names.append(QByteArray::fromStdString(call.name).mid(path().size()));
    }
    return names;
}

const Call* ScanWorld::find(const QByteArray& name) const
{
    const auto found = std::ranges::find(calls, path(name).toStdString(), &Call::name);
    return found == calls.end() ? nullptr : &*found;
}

int ScanWorld::beats() const
{
    return static_cast<int>(
        std::ranges::count_if(calls, [](const Call& call) { return call.name.empty() && call.status == 0; }));
}
