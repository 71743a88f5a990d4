// Before all other libraries: what an attacker with luck would do at the worst moment.
#define _GNU_SOURCE
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
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
