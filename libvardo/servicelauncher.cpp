#include "libvardo/servicelauncher.h"

#include "base/systemerror.h"
#include "base/uniquefd.h"
#include "libvardo/servicelink.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

namespace vardo {

namespace {

constexpr auto answerTime = std::chrono::seconds(10);
constexpr std::size_t maxAnswer = 1000;

/// The settings of posix_spawn for a process without ties to us but its standard output.
class DetachedSpawn
{
  public:
    explicit DetachedSpawn(int output)
    {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_,
                                 POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }
    DetachedSpawn(const DetachedSpawn&) = delete;
    DetachedSpawn& operator=(const DetachedSpawn&) = delete;
    ~DetachedSpawn()
    {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    /// Returns 0 or an errno value.
    int run(const std::vector<std::string>& arguments, pid_t& pid) const
    {
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        std::array<char*, 2> environment{const_cast<char*>("PATH=/usr/bin:/bin"), nullptr};
        return posix_spawn(&pid, argv[0], &actions_, &attributes_, argv.data(), environment.data());
    }

  private:
    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
};

std::vector<std::string> serviceArguments(const std::string& program, const ServicePaths& paths)
{
    std::vector<std::string> arguments{program,
                                       "--socket",
                                       paths.socket,
                                       "--pid-file",
                                       paths.pidFile,
                                       "--idle-seconds",
                                       std::to_string(60ull * paths.idleMinutes)};
    for (const std::string& directory : paths.signatureDirs)
        arguments.insert(arguments.end(), {"--signatures", directory});
    if (!paths.substituteDir.empty())
        arguments.insert(arguments.end(), {"--substitute", paths.substituteDir});
    return arguments;
}

/// What the service says before it closes its output, without the line end; nothing when `beat` gave up.
std::optional<std::string> readAnswer(int output, const std::function<bool()>& beat)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + answerTime;
    std::string answer;
    while (answer.size() <= maxAnswer && Clock::now() < deadline) {
        pollfd watched{output, POLLIN, 0};
        const int ready = poll(&watched, 1, beatMilliseconds);
        if (ready == 0 && beat && !beat())
            return std::nullopt;
        if (ready <= 0)
            continue;
        std::array<char, 256> part{};
        const ssize_t got = read(output, part.data(), part.size());
        if (got <= 0)
            break;
        answer.append(part.data(), static_cast<std::size_t>(got));
    }
    return answer.substr(0, answer.find('\n'));
}

} // namespace

base::Error startCancelled()
{
    return {ECANCELED, "The start of the scanning service was cancelled."};
}

base::Result<bool> launchService(const ServicePaths& paths, const std::function<bool()>& beat)
{
    const std::string program = paths.program.empty() ? serviceProgram() : paths.program;
    if (program.empty())
        return base::Error{ENOENT, "The scanning service is not installed."};
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return base::Error{errno, base::describeError(errno)};
    const base::UniqueFd output(ends[0]);
    base::UniqueFd input(ends[1]);
    pid_t pid = 0;
    const int failure = DetachedSpawn(input.get()).run(serviceArguments(program, paths), pid);
    if (failure != 0)
        return base::Error{failure,
                           "The scanning service cannot be started: " + base::describeError(failure)};
    input.reset();
    const std::optional<std::string> answer = readAnswer(output.get(), beat);
    // It goes to the background by itself: normally the process we started is gone by now.
    if (!answer)
        kill(pid, SIGKILL);
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (!answer)
        return startCancelled();
    if (*answer == "ready" || *answer == "running")
        return true;
    return base::Error{EIO, "The scanning service does not start: " +
                                (answer->empty() ? "no reason given" : *answer)};
}

} // namespace vardo
