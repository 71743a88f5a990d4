#include "base/priority.h"

#include <algorithm>

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace base {

namespace {

constexpr int lowest = 19;

// As ioprio_set(2) says: the kernel's own header is not always C++.
constexpr int ofProcess = 1;
constexpr int classShift = 13;
constexpr int bestEffort = 2;
constexpr int idle = 3;

int classOf(int io)
{
    return io >> classShift & 7;
}

bool isUsual(int io)
{
    return classOf(io) != bestEffort && classOf(io) != idle;
}

} // namespace

bool Priority::readsWhenIdle() const
{
    return classOf(io) == idle;
}

Priority ownPriority()
{
    // -1, which may be a failure too, counts as 0.
    const int nice = ::getpriority(PRIO_PROCESS, 0);
    const auto io = static_cast<int>(::syscall(SYS_ioprio_get, ofProcess, 0));
    return {std::clamp(nice, 0, lowest), isUsual(io) ? 0 : io};
}

void takePriority(const Priority& priority, int thread)
{
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread), std::clamp(priority.nice, 0, lowest));
    ::syscall(SYS_ioprio_set, ofProcess, thread, isUsual(priority.io) ? 0 : priority.io);
}

int idleIo()
{
    return idle << classShift;
}

unsigned allCores()
{
    return static_cast<unsigned>(std::max(1l, ::sysconf(_SC_NPROCESSORS_ONLN)));
}

unsigned usableCores()
{
    cpu_set_t cores;
    if (::sched_getaffinity(0, sizeof cores, &cores) != 0)
        return allCores();
    return static_cast<unsigned>(CPU_COUNT(&cores));
}

void limitCores(unsigned count)
{
    cpu_set_t cores;
    if (::sched_getaffinity(0, sizeof cores, &cores) != 0)
        return;
    for (std::size_t core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &cores) && count-- == 0)
            for (; core < CPU_SETSIZE; ++core)
                CPU_CLR(core, &cores);
    }
    ::sched_setaffinity(0, sizeof cores, &cores);
}

void useAllCores()
{
    cpu_set_t cores;
    for (std::size_t core = 0; core < CPU_SETSIZE; ++core)
        CPU_SET(core, &cores);
    ::sched_setaffinity(0, sizeof cores, &cores);
}

} // namespace base
