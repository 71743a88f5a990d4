// Before all other libraries: what an attacker with luck would do at the worst moment, and what a poor machine does.
#define _GNU_SOURCE
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Once, before the file is moved or removed that the scan has looked at.
static void exchange(const char* name)
{
    if (strcmp(name, "bad") == 0 && getenv("EXCHANGE")) {
        unsetenv("EXCHANGE");
        rename("/srv/precious", "/srv/bad");
    }
}

int unlinkat(int directory, const char* name, int flags)
{
    exchange(name);
    return (int)syscall(SYS_unlinkat, directory, name, flags);
}

int renameat2(int from, const char* name, int to, const char* newName, unsigned flags)
{
    exchange(name);
    return (int)syscall(SYS_renameat2, from, name, to, newName, flags);
}

/// The copy in quarantine has its name, the original is still there.
int linkat(int from, const char* name, int to, const char* newName, int flags)
{
    const int result = (int)syscall(SYS_linkat, from, name, to, newName, flags);
    if (strcmp(newName, "bad") == 0 && getenv("KILL"))
        raise(SIGKILL);
    return result;
}

/// Between a program's first two words to the service, the service dies.
static void murder(int socket)
{
    struct ucred peer;
    socklen_t length = sizeof peer;
    if (getenv("MURDER") && getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && peer.pid > 1) {
        unsetenv("MURDER");
        kill(peer.pid, SIGKILL);
        usleep(300000);
    }
}

ssize_t sendmsg(int socket, const struct msghdr* message, int flags)
{
    murder(socket);
    return syscall(SYS_sendmsg, socket, message, flags);
}

/// On a machine whose sockets take in little.
int connect(int socket, const struct sockaddr* address, socklen_t length)
{
    const int least = 1;
    if (getenv("SMALL"))
        setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
    return (int)syscall(SYS_connect, socket, address, length);
}

/// On a slow disk, to which a large file is written once.
int fsync(int file)
{
    struct stat status;
    if (getenv("SLOW") && fstat(file, &status) == 0 && status.st_size > 1000000) {
        unsetenv("SLOW");
        sleep(3);
    }
    return (int)syscall(SYS_fsync, file);
}
