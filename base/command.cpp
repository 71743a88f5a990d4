#include "base/command.h"

#include "base/uniquefd.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// What a new process does to its descriptors before it becomes the program.
class FileActions
{
  public:
    FileActions() { posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void discardOutput()
    {
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
    }
    void takeOutput(int pipe)
    {
        posix_spawn_file_actions_adddup2(&actions_, pipe, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, pipe, STDERR_FILENO);
    }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

/// The new process, or what runCommand() returns when there is none.
struct Started
{
    pid_t child = 0;
    int status = 0;
};

Started start(std::vector<char*> arguments, const FileActions& files)
{
    arguments.push_back(nullptr);
    Started started;
    switch (posix_spawn(&started.child, arguments.front(), files.get(), nullptr, arguments.data(), environ)) {
    case 0:
        return started;
    case EAGAIN:
    case ENOMEM:
        return {0, -1};
    default:
        return {0, 127 << 8};
    }
}

int endOf(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}

} // namespace

int runCommand(std::initializer_list<const char*> command, CommandOutput output)
{
    std::vector<char*> arguments;
    for (const char* argument : command)
        arguments.push_back(const_cast<char*>(argument));
    FileActions files;
    if (output == CommandOutput::Discarded)
        files.discardOutput();
    const auto [child, status] = start(std::move(arguments), files);
    return child > 0 ? endOf(child) : status;
}

int runCommand(const std::vector<std::string>& command, std::string& output)
{
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return -1;
    base::UniqueFd reading(ends[0]), writing(ends[1]);
    FileActions files;
    files.takeOutput(writing.get());
    const auto [child, status] = start(std::move(arguments), files);
    writing.reset();
    char buffer[4096];
    for (ssize_t got = 0;
         (got = read(reading.get(), buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR);)
        output.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return child > 0 ? endOf(child) : status;
}
