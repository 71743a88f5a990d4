#include "qsavd/lockdown.h"

#include "qsavd/sandbox.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace qsavd {

namespace {

constexpr id_t nobody = 65534;
constexpr rlim_t memoryMargin = 512u << 20;
constexpr int keptSocket = 3;

bool setLimit(__rlimit_resource resource, rlim_t value)
{
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0)
        return false;
    const rlim_t allowed = std::min(value, limit.rlim_max);
    limit = {allowed, allowed};
    return setrlimit(resource, &limit) == 0;
}

/// Bytes of address space in use.
rlim_t presentSize()
{
    unsigned long pages = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "re")) {
        if (std::fscanf(file, "%lu", &pages) != 1)
            pages = 0;
        std::fclose(file);
    }
    return static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

bool setLimits(std::uint64_t largestFile, std::uint64_t largestUnpacked)
{
    const rlim_t present = presentSize();
    return present != 0 && setLimit(RLIMIT_CORE, 0) && setLimit(RLIMIT_FSIZE, largestUnpacked) &&
           setLimit(RLIMIT_NPROC, 0) && setLimit(RLIMIT_AS, present + largestFile + memoryMargin);
}

} // namespace

Identity serviceIdentity()
{
    const passwd* user = getpwnam("qsavd");
    return user && user->pw_uid != 0 ? Identity{user->pw_uid, user->pw_gid} : Identity{nobody, nobody};
}

bool giveUpRoot(const Identity& identity)
{
    return geteuid() != 0 ||
           (setgroups(0, nullptr) == 0 && setresgid(identity.group, identity.group, identity.group) == 0 &&
            setresuid(identity.user, identity.user, identity.user) == 0);
}

int keepOnly(int socket)
{
    if (socket != keptSocket)
        dup2(socket, keptSocket);
    close_range(keptSocket + 1, ~0u, 0);
    return keptSocket;
}

bool lockDown(const std::string& directory, pid_t parent, std::uint64_t largestFile,
              std::uint64_t largestUnpacked)
{
    if (chdir(directory.c_str()) != 0 || !setLimits(largestFile, largestUnpacked) || geteuid() == 0)
        return false;
    if (prctl(PR_SET_DUMPABLE, 0) != 0 || prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        return false;
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || getppid() != parent)
        return false;
    confineFiles(directory);
    return filterSystemCalls();
}

} // namespace qsavd
