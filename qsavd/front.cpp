#include "qsavd/front.h"

#include "base/priority.h"

#include <algorithm>
#include <csignal>
#include <fstream>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

namespace qsavd {

namespace {

constexpr auto signInterval = std::chrono::milliseconds(200); ///< between two signs of life
constexpr auto settleTime = std::chrono::milliseconds(200);   ///< without a change, before files are loaded
constexpr auto endPatience = std::chrono::seconds(3);
constexpr unsigned maxFailures = 3;
constexpr std::size_t maxWaiting = 64;

/// Bytes that programs can still have without swapping, proc(5).
std::uint64_t availableMemory()
{
    std::ifstream info("/proc/meminfo");
    std::string name, unit;
    std::uint64_t kilobytes = 0;
    while (info >> name >> kilobytes && std::getline(info, unit))
        if (name == "MemAvailable:")
            return kilobytes << 10;
    return ~std::uint64_t{0};
}

} // namespace

Front::Front(Listener& listener, PidFile& pidFile, int signals, FrontSettings settings)
    : listener_(listener)
    , pidFile_(pidFile)
    , signals_(signals)
    , settings_(std::move(settings))
    , watch_(settings_.signatures)
    , lastUse_(Clock::now())
{
}

Front::~Front()
{
    endHolders();
}

void Front::run()
{
    fingerprint_ = watch_.fingerprint();
    load();
    while (!done()) {
        wait();
        if (changing_)
            lookForChanges();
        showLife();
    }
}

bool Front::done() const
{
    if (ending_ || (laidDown_ && holders_.empty()))
        return true;
    return !laidDown_ && waiting_.empty() && !loading() && sessions() == 0 &&
           Clock::now() - lastUse_ >= settings_.idleLimit;
}

void Front::wait()
{
    std::vector<pollfd> watched{{laidDown_ ? -1 : listener_.descriptor(), POLLIN, 0},
                                {signals_, POLLIN, 0},
                                {watch_.descriptor(), POLLIN, 0}};
    for (const auto& holder : holders_)
        watched.push_back({holder->channel(), POLLIN, 0});
    if (poll(watched.data(), watched.size(), millisecondsLeft()) <= 0)
        return;
    readHolders();
    if (watched[1].revents != 0)
        readSignals();
    if (watched[2].revents != 0) {
        watch_.readEvents();
        lookForChanges();
    }
    if (watched[0].revents != 0 && !laidDown_)
        accept();
}

int Front::millisecondsLeft() const
{
    using std::chrono::milliseconds;
    auto first = Clock::time_point::max();
    if (!waiting_.empty())
        first = lastSign_ + signInterval;
    else if (!laidDown_ && !loading() && sessions() == 0)
        first = lastUse_ + settings_.idleLimit;
    if (changing_ && Clock::now() < candidateSince_ + settleTime)
        first = std::min(first, candidateSince_ + settleTime);
    if (const Holder* loader = loading())
        first = std::min(first, loader->started() + settings_.loadLimit);
    if (first == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<milliseconds>(first - Clock::now()).count();
    return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, 1 << 30));
}

void Front::accept()
{
    base::UniqueFd client(accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!client || !peerIsSameUser(client.get()) || waiting_.size() >= maxWaiting)
        return;
    lastUse_ = Clock::now();
    lookForChanges();
    // Whoever is cut off by our end starts a service of the new program.
    if (laidDown_)
        return;
    const bool better = changing_ || loading();
    if (current_ && (current_->usable() || !better)) {
        if (current_->serve(client.get()))
            return;
        current_ = nullptr; // it has just died
    }
    waiting_.push_back(std::move(client));
    if (!loading())
        load();
}

/// Tells whoever waits that we are alive, and ends a process that loads without end.
void Front::showLife()
{
    const auto now = Clock::now();
    if (const Holder* loader = loading(); loader && now - loader->started() >= settings_.loadLimit) {
        failures_ = maxFailures;
        kill(loader->pid(), SIGKILL);
    }
    if (now - lastSign_ < signInterval)
        return;
    lastSign_ = now;
    std::erase_if(waiting_, [](const base::UniqueFd& client) {
        return sendMessage(client.get(), asBytes(Loading{}), {}, MSG_DONTWAIT) == EPIPE;
    });
}

void Front::refuseWaiting(const std::string& why)
{
    Hello hello;
    setText(hello.text, why);
    for (const base::UniqueFd& client : waiting_)
        sendMessage(client.get(), asBytes(hello), {}, MSG_DONTWAIT);
    waiting_.clear();
}

/// Leaves the place to a service of another program; the clients that we have are served to their end.
void Front::layDown()
{
    laidDown_ = true;
    listener_.close();
    pidFile_.release();
    waiting_.clear();
    for (const auto& holder : holders_) {
        if (holder->loaded())
            holder->retire();
        else
            kill(holder->pid(), SIGTERM);
    }
}

void Front::readSignals()
{
    signalfd_siginfo info{};
    while (read(signals_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo == SIGHUP && !laidDown_)
            layDown();
        else if (info.ssi_signo == SIGTERM || info.ssi_signo == SIGINT)
            ending_ = true;
    }
    reap();
}

void Front::reap()
{
    for (pid_t pid = 0; (pid = waitpid(-1, nullptr, WNOHANG)) > 0;) {
        const auto found =
            std::find_if(holders_.begin(), holders_.end(), [pid](const auto& h) { return h->pid() == pid; });
        if (found == holders_.end())
            continue;
        const std::unique_ptr<Holder> gone = std::move(*found);
        holders_.erase(found);
        holderGone(*gone);
    }
}

/// A set that cannot be loaded leaves the one before in use.
void Front::holderGone(const Holder& holder)
{
    lastUse_ = Clock::now();
    if (&holder == current_)
        current_ = nullptr;
    if (holder.loaded() || laidDown_ || ending_)
        return;
    if (++failures_ < maxFailures)
        return load();
    failures_ = 0;
    refuseWaiting(
        "The signatures cannot be loaded: the process that loads them takes too long or is killed.");
}

void Front::readHolders()
{
    for (const auto& holder : holders_) {
        const bool wasLoaded = holder->loaded();
        if (!holder->readState())
            continue;
        lastUse_ = Clock::now();
        if (!wasLoaded && !laidDown_)
            takeIntoUse(*holder);
    }
}

void Front::takeIntoUse(const Holder& loaded)
{
    failures_ = 0;
    if (current_)
        current_->retire();
    current_ = &loaded;
    // Who started us may stand back behind others, and has had us load like that; the next one need not. Only
    // we can still say so for root's.
    base::takePriority({}, loaded.pid());
    for (const base::UniqueFd& client : waiting_)
        current_->serve(client.get());
    waiting_.clear();
}

void Front::lookForChanges()
{
    if (laidDown_)
        return;
    if (watch_.programChanged())
        return layDown();
    std::string now = watch_.fingerprint();
    if (now == fingerprint_) {
        changing_ = false;
        return;
    }
    if (!changing_ || now != candidate_) {
        changing_ = true;
        candidate_ = std::move(now);
        candidateSince_ = Clock::now();
        return;
    }
    if (Clock::now() - candidateSince_ < settleTime || loading())
        return;
    if (current_ && !haveMemoryForTwo()) {
        if (sessions() != 0)
            return;
        current_->retire();
        current_ = nullptr;
    }
    changing_ = false;
    fingerprint_ = candidate_;
    load();
}

bool Front::haveMemoryForTwo() const
{
    return availableMemory() / 100 >= current_->memory() / 10'000 * settings_.sparePercent;
}

void Front::load()
{
    auto holder = Holder::start(settings_.signatures, settings_.roomKilobytes);
    if (holder) {
        holders_.push_back(std::move(holder).value());
        // The first set is loaded at the pace of whoever started us; what comes then is for others too.
        base::takePriority({});
        base::useAllCores();
        return;
    }
    fingerprint_.clear(); // so that it is tried again
    refuseWaiting("The signatures cannot be loaded: " + holder.error().text);
}

void Front::endHolders()
{
    for (const auto& holder : holders_)
        kill(holder->pid(), SIGTERM);
    const auto deadline = Clock::now() + endPatience;
    const auto goneFor = [](const auto& holder) { return waitpid(holder->pid(), nullptr, WNOHANG) != 0; };
    while (std::erase_if(holders_, goneFor), !holders_.empty() && Clock::now() < deadline)
        poll(nullptr, 0, 5);
    for (const auto& holder : holders_)
        kill(holder->pid(), SIGKILL);
}

const Holder* Front::loading() const
{
    const auto found =
        std::find_if(holders_.begin(), holders_.end(), [](const auto& h) { return !h->loaded(); });
    return found == holders_.end() ? nullptr : found->get();
}

unsigned Front::sessions() const
{
    unsigned sum = 0;
    for (const auto& holder : holders_)
        sum += holder->sessions();
    return sum;
}

} // namespace qsavd
