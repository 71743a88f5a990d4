// Runs a command with root's rights: any command for root, the product's own few for everybody else.

#include "base/begin.h"
#include "tools/runasroot/commandlist.h"
#include "tools/runasroot/crontab.h"
#include "tools/runasroot/fileactions.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

using namespace runasroot;

namespace {

constexpr int exitRefused = 126;
constexpr int exitFailed = 1;

int complain(const char* what)
{
    std::fprintf(stderr, "runasroot: %s\n", what);
    return exitFailed;
}

/// Standard streams that the caller closed must not become the files that are opened next.
bool fillStandardStreams()
{
    for (int fd = ::open("/dev/null", O_RDWR); fd >= 0; fd = ::open("/dev/null", O_RDWR)) {
        if (fd > STDERR_FILENO)
            return ::close(fd) == 0;
    }
    return false;
}

/// What the caller limited, blocked or ignored would go on in a cron daemon that is started again.
void forgetLimits()
{
    for (int resource = 0; resource < RLIM_NLIMITS; ++resource) {
        const auto kind = static_cast<__rlimit_resource>(resource);
        rlimit limit = {};
        if (::prlimit(1, kind, nullptr, &limit) == 0)
            ::setrlimit(kind, &limit);
    }
    ::setpriority(PRIO_PROCESS, 0, 0);
    for (int signal = 1; signal < NSIG; ++signal)
        ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Becomes root wholly and leaves behind whatever the caller prepared for it.
bool becomeRoot()
{
    if (::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0)
        return false;
    if (!fillStandardStreams() || ::close_range(STDERR_FILENO + 1, ~0U, 0) != 0)
        return false;
    forgetLimits();
    ::umask(022);
    return ::chdir("/") == 0;
}

[[noreturn]] void execute(const char* path, const char* argument)
{
    static char searchPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    static char home[] = "HOME=/root";
    char* const environment[] = {searchPath, home, nullptr};
    char* const arguments[] = {const_cast<char*>(path), const_cast<char*>(argument), nullptr};
    ::execve(path, arguments, environment);
    std::fprintf(stderr, "runasroot: %s: %s\n", path, std::strerror(errno));
    ::_exit(errno == ENOENT ? 127 : exitRefused);
}

/// Hands the checked crontab to crontab(1) through its standard input.
int installCrontab(const char* path)
{
    const auto text = readUpdateCrontab(path);
    if (!text)
        return complain(text.error().text.c_str());
    int ends[2];
    if (::pipe(ends) != 0)
        return complain(std::strerror(errno));
    // The text is far smaller than a pipe holds, so this write never waits for a reader.
    const auto& line = text.value();
    if (::write(ends[1], line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
        ::dup2(ends[0], STDIN_FILENO) < 0)
        return complain(std::strerror(errno));
    ::close(ends[0]);
    ::close(ends[1]);
    static char searchPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char* const environment[] = {searchPath, nullptr};
    ::execle("/usr/bin/crontab", "crontab", "-u", "qsconf", "-", nullptr, environment);
    return complain(std::strerror(errno));
}

int ownCrontab(const char* path)
{
    const passwd* user = ::getpwnam("qsconf");
    if (!user)
        return complain("there is no user qsconf");
    const auto done = giveUpdateCrontab(path, user->pw_uid, user->pw_gid);
    return done ? 0 : complain(done.error().text.c_str());
}

int perform(const Command& command, uid_t caller)
{
    switch (command.action) {
    case Action::AllowWriting: {
        const auto done = allowWriting(command.path, caller);
        return done ? 0 : complain(done.error().text.c_str());
    }
    case Action::TouchCrontab: {
        const auto done = touch(command.path);
        return done ? 0 : complain(done.error().text.c_str());
    }
    case Action::OwnCrontab:
        return ownCrontab(command.path);
    case Action::InstallCrontab:
        return installCrontab(command.path);
    case Action::RestartCron:
        execute(command.path, "restart");
    case Action::UpdateNow:
        execute(command.path, nullptr);
    }
    return exitRefused;
}

} // namespace

int main(int argc, char** argv)
{
    base::beginProgram();
    if (argc < 2) {
        complain("usage: runasroot COMMAND [ARGUMENT ...]");
        return exitRefused;
    }
    const uid_t caller = ::getuid();
    const bool isRoot = caller == 0;
    const auto command =
        findCommand(std::span<const char* const>(argv + 1, static_cast<std::size_t>(argc - 1)));
    // The product's own commands are done in our own way for root too: others may plant links where root's
    // chmod, touch and chown would follow them.
    if (!command && isRoot) {
        ::execvp(argv[1], argv + 1);
        std::fprintf(stderr, "runasroot: %s: %s\n", argv[1], std::strerror(errno));
        return errno == ENOENT ? 127 : exitRefused;
    }
    if (!command) {
        complain("only commands of the product itself are run for users other than root");
        return exitRefused;
    }
    if (!isRoot && !becomeRoot())
        return complain("no root rights: is it installed set-uid root?");
    return perform(*command, caller);
}
