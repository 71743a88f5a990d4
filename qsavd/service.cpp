#include "qsavd/service.h"

#include "qsavd/channel.h"
#include "qsavd/worker.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qsavd {

namespace {

constexpr std::size_t maxConnections = 64;
constexpr auto signInterval = std::chrono::seconds(1);
constexpr std::uint64_t largestScannable = (2ull << 30) - 1; ///< libclamav takes no larger file

/// What was asked for, within what can be had.
Begin clamped(Begin wanted)
{
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    wanted.workers = std::clamp(wanted.workers == 0 ? cores : wanted.workers, 1u, maxWorkers);
    wanted.maxRecursion = std::clamp(wanted.maxRecursion, 1u, 100u);
    wanted.maxFiles = std::clamp(wanted.maxFiles, 1u, 1000000u);
    wanted.maxSeconds = std::clamp(wanted.maxSeconds, 1u, 3600u);
    wanted.maxFileSize = std::clamp<std::uint64_t>(wanted.maxFileSize, 1, largestScannable);
    wanted.maxScanSize =
        std::clamp<std::uint64_t>(wanted.maxScanSize, wanted.maxFileSize, 16 * largestScannable);
    return wanted;
}

} // namespace

Service::Service(int channel, int signals, SignatureSet& signatures, const Workspace& workspace)
    : channel_(channel)
    , signals_(signals)
    , signatures_(signatures)
    , workspace_(workspace)
{
    usable_ = signatures_.engine(true) != nullptr && signatures_.count() > 0;
    set_ = digestOf(signatures_.identity());
}

Service::~Service()
{
    for (Connection& connection : connections_)
        end(connection);
    for (const Connection& connection : connections_)
        for (const auto& [pid, worker] : connection.workers)
            waitpid(pid, nullptr, 0);
}

void Service::run()
{
    tellState();
    while (!ending_ && !(retired_ && connections_.empty())) {
        std::vector<pollfd> watched{{retired_ ? -1 : channel_, POLLIN, 0}, {signals_, POLLIN, 0}};
        for (const Connection& connection : connections_)
            watched.push_back({connection.over ? -1 : connection.socket.get(), POLLIN, 0});
        if (poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR)
            return;
        const auto sessions = sessionCount();
        for (std::size_t i = 0; i + 2 < watched.size(); ++i)
            if (watched[i + 2].revents != 0)
                serve(connections_[i]);
        if (watched[1].revents != 0)
            readSignals();
        if (watched[0].revents != 0)
            readChannel();
        // Behind those that were watched.
        meetNewcomers();
        std::erase_if(connections_, [](const Connection& c) { return c.over && c.workers.empty(); });
        if (sessionCount() != sessions)
            tellState();
    }
}

std::uint32_t Service::sessionCount() const
{
    const auto count = std::count_if(connections_.begin(), connections_.end(),
                                     [](const Connection& c) { return c.begun && !c.over; });
    return static_cast<std::uint32_t>(count);
}

void Service::tellState()
{
    const SetState state{usable_ ? 1u : 0u, sessionCount()};
    sendMessage(channel_, asBytes(state));
}

void Service::readChannel()
{
    Message message;
    ClientNotice notice;
    Receive received = Receive::Nothing;
    while ((received = receiveMessage(channel_, message, MSG_DONTWAIT)) == Receive::Message) {
        if (readNotice(message, notice) && message.fds.size() == 1)
            newcomers_.push_back(std::move(message.fds.front()));
    }
    retired_ = retired_ || received == Receive::Closed;
}

void Service::meetNewcomers()
{
    for (base::UniqueFd& socket : newcomers_) {
        if (connections_.size() >= maxConnections)
            break;
        greet(socket.get());
        connections_.emplace_back().socket = std::move(socket);
    }
    newcomers_.clear();
}

/// So that nobody believes us dead.
void Service::showLifeWhileLoading(const Connection& waiting)
{
    const auto now = std::chrono::steady_clock::now();
    if (now - lastSign_ < signInterval)
        return;
    lastSign_ = now;
    readChannel();
    sendMessage(waiting.socket.get(), asBytes(Loading{}), {}, MSG_DONTWAIT);
    for (const base::UniqueFd& newcomer : newcomers_)
        sendMessage(newcomer.get(), asBytes(Loading{}), {}, MSG_DONTWAIT);
}

void Service::greet(int socket) const
{
    Hello hello;
    hello.signatures = signatures_.count();
    hello.usable = usable_ ? 1 : 0;
    std::ranges::copy(engine_, hello.engine);
    std::ranges::copy(set_, hello.signatureSet);
    setText(hello.text, signatures_.remark());
    std::string leftOut;
    for (const std::string& path : signatures_.leftOut())
        if (leftOut.size() + path.size() < maxText)
            leftOut += path + "\n";
    setText(hello.leftOut, leftOut);
    sendMessage(socket, asBytes(hello), {}, MSG_DONTWAIT);
}

void Service::serve(Connection& connection)
{
    Message message;
    const Receive received = receiveMessage(connection.socket.get(), message, MSG_DONTWAIT);
    if (received == Receive::Nothing)
        return;
    bool good = false;
    Begin wanted;
    KillWorker kill;
    if (received == Receive::Message && parse(message.data(), wanted))
        good = begin(connection, wanted);
    else if (received == Receive::Message && parse(message.data(), kill))
        good = killWorker(connection, kill);
    if (!good)
        end(connection);
}

bool Service::begin(Connection& connection, const Begin& wanted)
{
    if (connection.begun || wanted.version != protocolVersion || !usable_)
        return false;
    connection.begun = true;
    connection.options = clamped(wanted);
    connection.engine =
        signatures_.engine((wanted.flags & ScanPacked) != 0, [&] { showLifeWhileLoading(connection); });
    for (std::uint32_t i = 0; i < connection.options.workers; ++i)
        if (!startWorker(connection))
            return false;
    return true;
}

bool Service::killWorker(const Connection& connection, const KillWorker& request) const
{
    for (const auto& [pid, worker] : connection.workers)
        if (worker.number == request.worker)
            ::kill(pid, SIGKILL);
    return connection.begun;
}

bool Service::startWorker(Connection& connection)
{
    Failed failed;
    setText(failed.text, "The scanning service cannot start a worker.");
    int ends[2] = {-1, -1};
    const bool paired = socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0;
    const base::UniqueFd clientEnd(ends[0]);
    const base::UniqueFd workerEnd(ends[1]);
    const std::string directory = workspace_.addDirectory(++directories_);
    const pid_t service = getpid();
    const pid_t pid = paired && connection.engine && !directory.empty() ? fork() : -1;
    if (pid == 0)
        runWorker({workerEnd.get(), service, directory, connection.engine, connection.options});
    if (pid < 0) {
        Workspace::removeDirectory(directory);
        sendMessage(connection.socket.get(), asBytes(failed), {}, MSG_DONTWAIT);
        return false;
    }
    WorkerStarted started;
    started.worker = connection.started++;
    connection.workers[pid] = {started.worker, directory};
    return sendMessage(connection.socket.get(), asBytes(started), std::array{clientEnd.get()},
                       MSG_DONTWAIT) == 0;
}

void Service::readSignals()
{
    signalfd_siginfo info{};
    while (read(signals_, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
        if (info.ssi_signo != SIGCHLD)
            ending_ = true;
    reap();
}

void Service::reap()
{
    for (pid_t pid = 0; (pid = waitpid(-1, nullptr, WNOHANG)) > 0;) {
        for (Connection& connection : connections_) {
            const auto found = connection.workers.find(pid);
            if (found == connection.workers.end())
                continue;
            Workspace::removeDirectory(found->second.directory);
            connection.workers.erase(found);
            if (!connection.over && !ending_ && !startWorker(connection))
                end(connection);
            break;
        }
    }
}

void Service::end(Connection& connection)
{
    connection.over = true;
    connection.socket.reset();
    for (const auto& [pid, worker] : connection.workers)
        ::kill(pid, SIGKILL);
}

} // namespace qsavd
