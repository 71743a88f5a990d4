#include "updater/fetcher.h"

#include "base/plainfile.h"
#include "base/systemerror.h"
#include "engine/update.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace updater {

namespace {

constexpr int firstFree = 10;      ///< above every number that the new process is to find something at
constexpr int mostMessages = 1000; ///< without those of the progress
constexpr int longestWait = 1000;  ///< milliseconds

std::string programPath()
{
    std::error_code error;
    const auto own = std::filesystem::read_symlink("/proc/self/exe", error);
    return own.parent_path().parent_path().parent_path() / "sbin/qsfetch";
}

/// A file with `text` that can be read once.
base::UniqueFd inputOf(const std::string& text)
{
    base::UniqueFd file(::memfd_create("order", MFD_CLOEXEC));
    const bool ready = file && base::writeAll(file.get(), text) && ::lseek(file.get(), 0, SEEK_SET) == 0;
    return ready ? std::move(file) : base::UniqueFd();
}

/// Puts the descriptors where the program looks for them, and closes all others but `program`.
bool arrange(const std::array<int, 5>& wanted, int& program)
{
    std::array<int, 5> high{};
    for (std::size_t i = 0; i < wanted.size(); ++i)
        high[i] = ::fcntl(wanted[i], F_DUPFD_CLOEXEC, firstFree);
    const int kept = ::fcntl(program, F_DUPFD_CLOEXEC, firstFree);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (high[i] < 0 || ::dup2(high[i], static_cast<int>(i)) < 0)
            return false;
    }
    program = static_cast<int>(wanted.size());
    return ::dup3(kept, program, O_CLOEXEC) >= 0 &&
           ::close_range(static_cast<unsigned>(program) + 1, ~0U, 0) == 0;
}

bool giveUpRights(pid_t parent)
{
    const rlimit none{0, 0};
    if (::setrlimit(RLIMIT_CORE, &none) != 0 || ::setgroups(0, nullptr) != 0 ||
        ::setresgid(fetcherGroup, fetcherGroup, fetcherGroup) != 0 ||
        ::setresuid(fetcherUser, fetcherUser, fetcherUser) != 0)
        return false;
    // A change of user clears the next two.
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 &&
           ::getppid() == parent;
}

void resetSignals()
{
    for (int signal = 1; signal < NSIG; ++signal)
        ::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void become(int program, const char* task)
{
    static char path[] = "PATH=/usr/bin:/bin";
    static char name[] = "qsfetch";
    char* const arguments[] = {name, const_cast<char*>(task), nullptr};
    char* const environment[] = {path, nullptr};
    ::fexecve(program, arguments, environment);
    ::_exit(127);
}

update::Message failed(std::string why)
{
    return {update::MessageResult, UPDATE_ERROR, 0, std::move(why)};
}

} // namespace

Fetcher::Fetcher(const char* task, const std::string& input, int folder, int temporary)
{
    int ends[2] = {-1, -1};
    const base::UniqueFd order = inputOf(input);
    if (!order || ::pipe2(ends, O_CLOEXEC) != 0) {
        failure_ = base::describeError(errno);
        return;
    }
    output_.reset(ends[0]);
    const base::UniqueFd writing(ends[1]);
    start(task, order.get(), writing.get(), folder, temporary);
}

void Fetcher::start(const char* task, int input, int output, int folder, int temporary)
{
    const std::string path = programPath();
    base::UniqueFd program(::open(path.c_str(), O_PATH | O_CLOEXEC));
    const base::UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!program || !nothing) {
        failure_ = path + ": " + base::describeError(errno);
        return;
    }
    const pid_t parent = ::getpid();
    pid_ = ::fork();
    if (pid_ < 0)
        failure_ = base::describeError(errno);
    if (pid_ != 0)
        return;
    if (std::strcmp(task, "fetch") != 0)
        ::unshare(CLONE_NEWNET); // where the kernel has it
    int kept = program.get();
    if (::fchdir(folder) != 0 || !arrange({input, nothing.get(), nothing.get(), temporary, output}, kept))
        ::_exit(127);
    resetSignals();
    if (!giveUpRights(parent))
        ::_exit(127);
    become(kept, task);
}

Fetcher::~Fetcher()
{
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

update::Message Fetcher::follow(Interruption& interruption, Clock::time_point deadline,
                                const std::function<void(const update::Message&)>& onMessage)
{
    if (!failure_.empty())
        return failed(failure_);
    update::MessageReader reader;
    for (int count = 0; count < mostMessages;) {
        if (const auto message = reader.next()) {
            if (message->code == update::MessageResult)
                return *message;
            onMessage(*message);
            count += message->code != UPDATE_PROGRESS;
            continue;
        }
        if (reader.broken())
            break;
        if (interruption.interrupted())
            return {update::MessageResult, UPDATE_STOPPED, 0, "stopped"};
        if (Clock::now() >= deadline)
            return failed("it takes too long");
        if (!interruption.wait(output_.get(), longestWait))
            continue;
        std::array<char, 4096> part{};
        const ssize_t got = ::read(output_.get(), part.data(), part.size());
        if (got <= 0)
            return failed("the process that downloads and checks ended unexpectedly");
        reader.add({part.data(), static_cast<std::size_t>(got)});
    }
    return failed("the process that downloads and checks does not keep to the rules");
}

} // namespace updater
