#include "updater/interruption.h"

#include <array>
#include <csignal>

#include <poll.h>
#include <sys/signalfd.h>

namespace updater {

namespace {

sigset_t endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&set, signal);
    return set;
}

} // namespace

Interruption::Interruption(int caller)
    : caller_(caller)
{
    const sigset_t set = endingSignals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signals_.reset(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool Interruption::interrupted()
{
    return interrupted_ || (wait(-1, 0), interrupted_);
}

bool Interruption::wait(int file, int milliseconds)
{
    // Whatever the caller sends means to stop, and so does its end.
    std::array<pollfd, 3> watched{pollfd{signals_.get(), POLLIN, 0}, pollfd{caller_, POLLIN, 0},
                                  pollfd{file, POLLIN, 0}};
    if (!interrupted_ && poll(watched.data(), watched.size(), milliseconds) > 0)
        interrupted_ = watched[0].revents || watched[1].revents;
    return !interrupted_ && watched[2].revents;
}

} // namespace updater
