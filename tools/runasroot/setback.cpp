#include "tools/runasroot/setback.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <initializer_list>

namespace runasroot {

namespace {

constexpr pid_t firstProcess = 1; // has the machine's own limits
constexpr int ioPriorityOfProcess = 1;

/// Ignoring a signal drops those that wait.
void setBackSignals()
{
    const itimerval never = {};
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
        ::setitimer(timer, &never, nullptr);
    for (int signal = 1; signal < NSIG; ++signal) {
        ::signal(signal, SIG_IGN);
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void setBackLimits()
{
    for (int resource = 0; resource < RLIM_NLIMITS; ++resource) {
        const auto kind = static_cast<__rlimit_resource>(resource);
        rlimit limit = {};
        if (::prlimit(firstProcess, kind, nullptr, &limit) == 0)
            ::setrlimit(kind, &limit);
    }
    const int badness = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    (void)!::write(badness, "0", 1);
    ::close(badness);
}

void setBackScheduling()
{
    const sched_param usual = {};
    ::sched_setscheduler(0, SCHED_OTHER, &usual);
    ::setpriority(PRIO_PROCESS, 0, 0);
    ::syscall(SYS_ioprio_set, ioPriorityOfProcess, 0, 0);
    cpu_set_t all;
    std::memset(&all, 0xFF, sizeof all);
    ::sched_setaffinity(0, sizeof all, &all);
}

} // namespace

/// The signals first: a limit on the processor's time ends us by one.
void setBack()
{
    setBackSignals();
    setBackLimits();
    setBackScheduling();
}

} // namespace runasroot
