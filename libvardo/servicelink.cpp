#include "libvardo/servicelink.h"

#include "base/systemerror.h"
#include "libvardo/servicelauncher.h"
#include "protocol/message.h"
#include "protocol/socketaddress.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>

namespace vardo {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr auto reachLimit = std::chrono::seconds(10);
constexpr auto retryPause = std::chrono::milliseconds(10);
constexpr int greetingAttempts = 3;
constexpr int deathMilliseconds = 5000;
constexpr auto briefPatience = std::chrono::milliseconds(250);
constexpr std::string_view deletedMark = " (deleted)"; // of a program's file, proc(5)

std::string programOf(const ServicePaths& paths)
{
    return paths.program.empty() ? serviceProgram() : paths.program;
}

bool goesOn(const std::function<bool()>& beat)
{
    return !beat || beat();
}

/// Connects, or gives an errno value: ENOENT and ECONNREFUSED when nobody listens.
int connectOnce(const std::string& path, base::UniqueFd& connected)
{
    const fs::path where(path);
    const base::UniqueFd directory(open(where.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory)
        return errno;
    const qsavd::SocketAddress address(directory.get(), where.filename().string());
    base::UniqueFd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket)
        return errno;
    if (!address.fits())
        return ENAMETOOLONG;
    if (connect(socket.get(), address.get(), address.length()) != 0)
        return errno;
    if (!qsavd::peerIsSameUser(socket.get()))
        return EPERM;
    connected = std::move(socket);
    return 0;
}

base::Error unreachable(const std::string& path, int code)
{
    const std::string reason = code == EPERM       ? "it belongs to another user"
                               : code == ETIMEDOUT ? "it does not answer"
                                                   : base::describeError(code);
    return {code, "The scanning service cannot be reached at " + path + ": " + reason};
}

enum class Greeting { Greeted, HungUp, Silent, GivenUp };

/// Waits for the greeting, as long as `patience` after each sign of life.
Greeting awaitGreeting(int socket, std::chrono::milliseconds patience, const std::function<bool()>& beat,
                       qsavd::Hello& hello)
{
    auto lastSign = Clock::now();
    for (;;) {
        pollfd watched{socket, POLLIN, 0};
        const int ready = poll(&watched, 1, beatMilliseconds);
        if (ready == 0 && !goesOn(beat))
            return Greeting::GivenUp;
        if (ready <= 0 && Clock::now() - lastSign >= patience)
            return Greeting::Silent;
        if (ready <= 0)
            continue;
        qsavd::Message message;
        if (qsavd::receiveMessage(socket, message) != qsavd::Receive::Message)
            return Greeting::HungUp;
        if (qsavd::parse(message.data(), hello))
            return Greeting::Greeted;
        if (qsavd::Loading loading; !qsavd::parse(message.data(), loading))
            return Greeting::HungUp;
        lastSign = Clock::now();
    }
}

/// The process that listens at the other end of `socket`; it cannot be mixed up with a later one.
base::UniqueFd listeningProcess(int socket, pid_t& pid)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.uid != geteuid())
        return {};
    pid = peer.pid;
    return base::UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

/// Kills a service that does not answer, so that another can take its place. False when what listens there
/// is no service of ours.
bool killSilent(int socket, const ServicePaths& paths)
{
    pid_t pid = 0;
    const base::UniqueFd process = listeningProcess(socket, pid);
    std::error_code unknown;
    std::string running = fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", unknown).string();
    if (running.ends_with(deletedMark)) // a package was installed over it
        running.resize(running.size() - deletedMark.size());
    if (!process || running.empty() || running != fs::canonical(programOf(paths), unknown))
        return false;
    if (syscall(SYS_pidfd_send_signal, process.get(), SIGKILL, nullptr, 0) != 0 && errno != ESRCH)
        return false;
    pollfd watched{process.get(), POLLIN, 0};
    return poll(&watched, 1, deathMilliseconds) > 0;
}

std::string bytesOf(const std::uint8_t (&identity)[qsavd::identitySize])
{
    const std::string bytes(std::begin(identity), std::end(identity));
    return bytes.find_first_not_of('\0') == std::string::npos ? std::string() : bytes;
}

ServiceInfo infoOf(const qsavd::Hello& hello)
{
    ServiceInfo info{
        hello.usable != 0,     hello.signatures,           std::string(qsavd::getText(hello.text)), {},
        bytesOf(hello.engine), bytesOf(hello.signatureSet)};
    std::istringstream lines{std::string(qsavd::getText(hello.leftOut))};
    for (std::string path; std::getline(lines, path);)
        info.leftOut.push_back(path);
    return info;
}

} // namespace

std::string serviceProgram()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&serviceProgram), &info) == 0 || !info.dli_fname)
        return {};
    std::error_code failure;
    const fs::path library = fs::canonical(info.dli_fname, failure);
    const fs::path program = library.parent_path().parent_path().parent_path() / "sbin/qsavd";
    return !failure && fs::exists(program, failure) ? program.string() : std::string();
}

base::Result<base::UniqueFd> reachService(const ServicePaths& paths, const std::function<bool()>& beat)
{
    const auto deadline = Clock::now() + reachLimit;
    for (;;) {
        base::UniqueFd socket;
        const int code = connectOnce(paths.socket, socket);
        if (code == 0)
            return socket;
        if (code == ENOENT || code == ECONNREFUSED) {
            // Of two services that start at once one gives way; the other will listen in a moment.
            if (const auto launched = launchService(paths, beat); !launched)
                return launched.error();
        } else if (code != EAGAIN) {
            return unreachable(paths.socket, code);
        }
        if (Clock::now() > deadline)
            return unreachable(paths.socket, code);
        if (!goesOn(beat))
            return startCancelled();
        if (connectOnce(paths.socket, socket) == 0)
            return socket;
        std::this_thread::sleep_for(retryPause);
    }
}

base::Result<ServiceLink> linkToService(const ServicePaths& paths, const std::function<bool()>& beat)
{
    // A service that is about to end hangs up, so that a fresh one is started.
    for (int attempt = 0; attempt < greetingAttempts; ++attempt) {
        auto socket = reachService(paths, beat);
        if (!socket)
            return socket.error();
        const int descriptor = socket.value().get();
        qsavd::Hello hello;
        const Greeting greeting = awaitGreeting(descriptor, paths.patience, beat, hello);
        if (greeting == Greeting::GivenUp)
            return startCancelled();
        if (greeting == Greeting::Silent && !killSilent(descriptor, paths))
            return unreachable(paths.socket, ETIMEDOUT);
        if (greeting != Greeting::Greeted)
            continue;
        if (hello.version != qsavd::protocolVersion)
            return base::Error{EPROTO, "The scanning service is of another version. Stop it and try again."};
        if (hello.usable == 0)
            return base::Error{ENODATA, std::string(qsavd::getText(hello.text))};
        return ServiceLink{std::move(socket).value(), infoOf(hello)};
    }
    return base::Error{EIO, "The scanning service ended before it had loaded its signatures."};
}

base::Result<ServiceLink> beginSession(const ServicePaths& paths, const qsavd::Begin& begin,
                                       const std::function<bool()>& beat)
{
    int failure = 0;
    // One that has just greeted may end in the next moment.
    for (int attempt = 0; attempt < greetingAttempts; ++attempt) {
        auto link = linkToService(paths, beat);
        if (!link)
            return link.error();
        failure = qsavd::sendMessage(link.value().socket.get(), qsavd::asBytes(begin));
        if (failure == 0)
            return link;
    }
    return base::Error{failure, "The scanning service cannot be used: " + base::describeError(failure)};
}

std::optional<ServiceInfo> askRunningService(const ServicePaths& paths)
{
    base::UniqueFd socket;
    qsavd::Hello hello;
    if (connectOnce(paths.socket, socket) != 0)
        return {};
    const auto deadline = Clock::now() + briefPatience;
    const auto beat = [deadline] { return Clock::now() < deadline; };
    const bool told = awaitGreeting(socket.get(), briefPatience, beat, hello) == Greeting::Greeted &&
                      hello.version == qsavd::protocolVersion;
    return told ? std::optional(infoOf(hello)) : std::nullopt;
}

base::Result<ServiceInfo> startService(const ServicePaths& paths, bool wait,
                                       const std::function<bool()>& beat)
{
    if (!wait) {
        const auto socket = reachService(paths, beat);
        return socket ? base::Result<ServiceInfo>(ServiceInfo{}) : socket.error();
    }
    const auto link = linkToService(paths, beat);
    return link ? base::Result<ServiceInfo>(link.value().info) : link.error();
}

} // namespace vardo
