// Runs a command with root's rights: any command for root, the product's own few for everybody else.

#include "base/begin.h"
#include "tools/runasroot/commandlist.h"
#include "tools/runasroot/crontab.h"
#include "tools/runasroot/fileactions.h"
#include "tools/runasroot/setback.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

using namespace runasroot;

namespace {

constexpr int exitRefused = 126;
constexpr int exitFailed = 1;

int complain(const std::string& what)
{
    std::fprintf(stderr, "runasroot: %s\n", what.c_str());
    return exitFailed;
}

/// A refusal is the caller's and the machine's log's to know.
int refuse(uid_t caller, std::string what)
{
    complain(what);
    std::ranges::replace_if(
        what, [](char c) { return c < ' ' || c > '~'; }, '?');
    ::openlog("runasroot", LOG_PID, LOG_AUTHPRIV);
    ::syslog(LOG_WARNING, "refused to uid %u: %.500s", static_cast<unsigned>(caller), what.c_str());
    return exitRefused;
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

/// Becomes root wholly and leaves behind whatever the caller prepared for it.
bool becomeRoot()
{
    if (::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0)
        return false;
    if (!fillStandardStreams() || ::close_range(STDERR_FILENO + 1, ~0U, 0) != 0)
        return false;
    setBack();
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

/// In a session of its own and without the caller's streams: no key on a terminal ends it between stop and
/// start, and no pipe that is closed or full.
base::Result<int> restart(const char* path)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        setBack();
        ::close_range(STDIN_FILENO, STDERR_FILENO, 0);
        fillStandardStreams();
        execute(path, "restart");
    }
    int status = 0;
    while (child > 0 && ::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            break;
    }
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : exitFailed;
}

/// Hands the checked crontab to crontab(1) through its standard input.
base::Result<int> installCrontab(const char* path)
{
    const auto text = readUpdateCrontab(path);
    if (!text)
        return text.error();
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

/// The exit status; an error where something was not as it may be.
base::Result<int> perform(const Command& command, uid_t caller)
{
    const auto statusOf = [](const base::Result<bool>& done) {
        return done ? base::Result<int>(0) : done.error();
    };
    switch (command.action) {
    case Action::AllowWriting:
        return statusOf(allowWriting(command.path, caller));
    case Action::TouchCrontab:
        return statusOf(touch(command.path));
    case Action::OwnCrontab: {
        const passwd* user = ::getpwnam("qsconf");
        return user ? statusOf(giveUpdateCrontab(command.path, user->pw_uid, user->pw_gid))
                    : base::Result<int>(complain("there is no user qsconf"));
    }
    case Action::InstallCrontab:
        return installCrontab(command.path);
    case Action::RestartCron:
        return restart(command.path);
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
    // Before a refusal too, so that the caller cannot keep it out of the log.
    const bool rooted = isRoot || becomeRoot();
    if (!command) {
        std::string line = "only commands of the product itself are run for users other than root:";
        for (int i = 1; i < argc; ++i)
            line.append(" ").append(argv[i]);
        return refuse(caller, std::move(line));
    }
    if (!rooted)
        return complain("no root rights: is it installed set-uid root?");
    const auto done = perform(*command, caller);
    if (done)
        return done.value();
    if (!isRoot)
        refuse(caller, done.error().text);
    else
        complain(done.error().text);
    return exitFailed;
}
