#pragma once

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace base {

/// What a program does before all else, whoever started it. Standard descriptors that are closed lead to
/// /dev/null: the next file that is opened would take the place of one, and get what is meant for it. A file
/// that reaches its limit is a failure to write, and not the end.
inline void beginProgram()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (::fcntl(fd, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != fd)
            ::_exit(EXIT_FAILURE);
    ::signal(SIGXFSZ, SIG_IGN);
}

} // namespace base
