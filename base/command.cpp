#include "base/command.h"

#include <cerrno>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

int runCommand(std::initializer_list<const char*> command)
{
    std::vector<char*> arguments;
    for (const char* argument : command)
        arguments.push_back(const_cast<char*>(argument));
    arguments.push_back(nullptr);

    pid_t child = 0;
    switch (posix_spawn(&child, arguments.front(), nullptr, nullptr, arguments.data(), environ)) {
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
