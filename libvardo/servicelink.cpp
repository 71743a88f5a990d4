#include "libvardo/servicelink.h"

#include "libvardo/servicelauncher.h"
#include "protocol/message.h"
#include "protocol/socketaddress.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

namespace vardo {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr auto reachLimit = std::chrono::seconds(10);
constexpr auto retryPause = std::chrono::milliseconds(10);
constexpr int greetingAttempts = 3;

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
    const std::string reason = code == EPERM ? "it belongs to another user" : std::strerror(code);
    return {code, "The scanning service cannot be reached at " + path + ": " + reason};
}

/// Waits for the greeting. False with `given up` set when `beat` ended it, without when the service did.
bool awaitGreeting(int socket, const std::function<bool()>& beat, qsavd::Hello& hello, bool& gaveUp)
{
    for (;;) {
        pollfd watched{socket, POLLIN, 0};
        const int ready = poll(&watched, 1, beatMilliseconds);
        if (ready == 0 && !goesOn(beat)) {
            gaveUp = true;
            return false;
        }
        if (ready <= 0)
            continue;
        qsavd::Message message;
        return qsavd::receiveMessage(socket, message) == qsavd::Receive::Message &&
               qsavd::parse(message.data(), hello);
    }
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
    // A service that finds its signatures outdated hangs up, so that a fresh one is started.
    for (int attempt = 0; attempt < greetingAttempts; ++attempt) {
        auto socket = reachService(paths, beat);
        if (!socket)
            return socket.error();
        qsavd::Hello hello;
        bool gaveUp = false;
        if (!awaitGreeting(socket.value().get(), beat, hello, gaveUp)) {
            if (gaveUp)
                return startCancelled();
            continue;
        }
        if (hello.version != qsavd::protocolVersion)
            return base::Error{EPROTO, "The scanning service is of another version. Stop it and try again."};
        if (hello.usable == 0)
            return base::Error{ENODATA, std::string(qsavd::getText(hello.text))};
        const ServiceInfo info{hello.signatures, std::string(qsavd::getText(hello.text))};
        return ServiceLink{std::move(socket).value(), info};
    }
    return base::Error{EIO, "The scanning service ended before it had loaded its signatures."};
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
