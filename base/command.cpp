#include "base/command.h"

#include <cerrno>
#include <vector>

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
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

} // namespace

int runCommand(std::initializer_list<const char*> command, CommandOutput output)
{
    std::vector<char*> arguments;
    for (const char* argument : command)
        arguments.push_back(const_cast<char*>(argument));
    arguments.push_back(nullptr);

    FileActions files;
    if (output == CommandOutput::Discarded)
        files.discardOutput();
    pid_t child = 0;
    switch (posix_spawn(&child, arguments.front(), files.get(), nullptr, arguments.data(), environ)) {
    case 0:
        break;
    case EAGAIN:
    case ENOMEM:
        return -1;
    default:
        return 127 << 8;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}
