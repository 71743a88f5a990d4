#include "base/priority.h"

#include <algorithm>

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace base {

namespace {

constexpr int lowest = 19;

// ioprio_set(2). The kernel's header of them is not C++ in every version.
constexpr int ioOfProcess = 1;
constexpr int ioClassShift = 13;
enum IoClass { BestEffort = 2, Idle = 3 };

int ioClassOf(int io)
{
    return io >> ioClassShift;
}

bool isUsual(int io)
{
    return ioClassOf(io) != BestEffort && ioClassOf(io) != Idle;
}

/// What goes before others, as a policy for real time, counts as usual.
int modest(int policy)
{
    return policy == SCHED_BATCH || policy == SCHED_IDLE ? policy : SCHED_OTHER;
}

} // namespace

bool Priority::readsWhenIdle() const
{
    return ioClassOf(io) == Idle;
}

Priority ownPriority()
{
    // -1, which may be a failure too, counts as 0.
    const int nice = ::getpriority(PRIO_PROCESS, 0);
    const auto io = static_cast<int>(::syscall(SYS_ioprio_get, ioOfProcess, 0));
    return {std::clamp(nice, 0, lowest), isUsual(io) ? 0 : io, modest(::sched_getscheduler(0))};
}

void takePriority(const Priority& priority, int thread)
{
    const sched_param none = {};
    ::sched_setscheduler(thread, modest(priority.policy), &none);
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(thread), std::clamp(priority.nice, 0, lowest));
    ::syscall(SYS_ioprio_set, ioOfProcess, thread, isUsual(priority.io) ? 0 : priority.io);
}

int idleIo()
{
    return Idle << ioClassShift;
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
