#pragma once

#include <csignal>

#include <pthread.h>

namespace vardo {

/// Blocks all signals in the calling thread, one of the library's own: they are for the threads of
/// whoever uses it.
inline void leaveSignalsToOthers()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace vardo
