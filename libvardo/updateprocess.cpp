#include "libvardo/updateprocess.h"

#include "base/paths.h"
#include "base/systemerror.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::chrono::seconds endPatience{5};
constexpr std::chrono::milliseconds killPatience{100};
constexpr int firstFree = 3;

/// Processes that were stopped and had not ended when their caller went on.
std::mutex leftBehindMutex;
std::vector<pid_t> leftBehind;

/// The program beside the library that this code is in, as built and as installed; else the installed one.
std::string updateProgram()
{
    Dl_info info{};
    std::error_code error;
    if (::dladdr(reinterpret_cast<const void*>(&updateProgram), &info) != 0 && info.dli_fname) {
        const auto library = std::filesystem::canonical(info.dli_fname, error);
        const auto program = library.parent_path().parent_path() / "bin/updatenow";
        if (!error && std::filesystem::exists(program, error))
            return program;
    }
    return paths::updateNow;
}

/// The same file under a number that is no standard stream's.
base::UniqueFd raised(int fd)
{
    const base::UniqueFd low(fd);
    return base::UniqueFd(fd < 0 ? -1 : ::fcntl(fd, F_DUPFD_CLOEXEC, firstFree));
}

bool becomesReady(int fd, std::chrono::milliseconds patience)
{
    pollfd watched{fd, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(patience.count())) > 0;
}

/// A session of its own, so that no key of a terminal reaches it; signals as a fresh process has them.
struct SpawnSettings
{
    SpawnSettings(int input, int output)
    {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&attributes);
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(&attributes,
                                 POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions, firstFree);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }

    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
};

} // namespace

UpdateProcess::UpdateProcess(const char* qsavConf, const char* updatesConf, const std::string& wishes)
{
    reapLeftBehind();
    int ours[2] = {-1, -1};
    int theirs[2] = {-1, -1};
    bool made = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ours) == 0;
    made = made && ::pipe2(theirs, O_CLOEXEC) == 0;
    control_ = raised(ours[0]);
    const base::UniqueFd input = raised(ours[1]);
    output_ = raised(theirs[0]);
    const base::UniqueFd output = raised(theirs[1]);
    if (!made || !control_ || !input || !output_ || !output) {
        failure_ = base::describeError(errno);
        return;
    }
    const std::string text = wishes + '\n';
    if (start(qsavConf, updatesConf, input.get(), output.get()))
        ::send(control_.get(), text.data(), text.size(), MSG_NOSIGNAL);
}

bool UpdateProcess::start(const char* qsavConf, const char* updatesConf, int input, int output)
{
    const std::string program = updateProgram();
    std::vector<std::string> words{program, "--for-engine"};
    if (qsavConf)
        words.push_back(std::string("--engine-config=") + qsavConf);
    if (updatesConf)
        words.push_back(std::string("--config=") + updatesConf);
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    char* environment[] = {const_cast<char*>("PATH=/usr/bin:/bin"), nullptr};
    const SpawnSettings settings(input, output);
    const int code = posix_spawn(&pid_, arguments[0], &settings.actions, &settings.attributes,
                                 arguments.data(), environment);
    if (code != 0) {
        pid_ = -1;
        failure_ = program + ": " + base::describeError(code);
        return false;
    }
    process_.reset(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    return true;
}

UpdateProcess::~UpdateProcess()
{
    waitForEnd(endPatience);
}

std::optional<update::Message> UpdateProcess::next(std::chrono::milliseconds patience)
{
    if (auto message = reader_.next())
        return message;
    if (reader_.broken())
        output_.reset();
    if (ended() || !becomesReady(output_.get(), patience))
        return {};
    std::array<char, 4096> part{};
    const ssize_t got = ::read(output_.get(), part.data(), part.size());
    if (got > 0)
        reader_.add({part.data(), static_cast<std::size_t>(got)});
    else if (got == 0 || errno != EINTR)
        output_.reset();
    return reader_.next();
}

void UpdateProcess::stop(std::chrono::milliseconds patience)
{
    control_.reset();
    if (process_ && !becomesReady(process_.get(), patience)) {
        // It has been told, and cleans up as fast as the machine lets it.
        const std::lock_guard lock(leftBehindMutex);
        leftBehind.push_back(std::exchange(pid_, -1));
        return;
    }
    waitForEnd(patience);
}

void UpdateProcess::reapLeftBehind()
{
    const std::lock_guard lock(leftBehindMutex);
    std::erase_if(leftBehind, [](pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) != 0; });
}

void UpdateProcess::waitForEnd(std::chrono::milliseconds patience)
{
    if (pid_ <= 0)
        return;
    control_.reset();
    // Not by its number: if the caller reaps children of others, that may be somebody else's by now.
    if (process_ && !becomesReady(process_.get(), patience))
        ::syscall(SYS_pidfd_send_signal, process_.get(), SIGKILL, nullptr, 0);
    // One that waits for a disk may not die at once; the caller's time is worth more than that it is reaped.
    const bool dies = !process_ || becomesReady(process_.get(), killPatience);
    while (dies && ::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
}

} // namespace vardo
