#include "notify/notify.h"

#include "notify/helper.h"
#include "notify/sessions.h"
#include "notify/show.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace notify {

namespace {

constexpr unsigned patience = 5; // seconds; the bus library waits without limit for a silent bus
constexpr std::uint64_t helperPatience = 3'000'000; // microseconds

Bus busAt(const std::string& address)
{
    sd_bus* made = nullptr;
    if (::sd_bus_new(&made) < 0)
        return nullptr;
    Bus bus(made);
    const bool started = ::sd_bus_set_address(made, address.c_str()) >= 0 &&
                         ::sd_bus_set_bus_client(made, 1) >= 0 && ::sd_bus_start(made) >= 0;
    return started ? std::move(bus) : nullptr;
}

Bus ownBus()
{
    sd_bus* bus = nullptr;
    return ::sd_bus_open_user(&bus) < 0 ? nullptr : Bus(bus);
}

/// Has the program show it that lives as long as its button does. The session's bus starts it, in the
/// session's surroundings.
bool showByHelper(sd_bus* bus, const Message& message)
{
    sd_bus_message* call = nullptr;
    ::sd_bus_message_new_method_call(bus, &call, helper::name, helper::object, helper::name, helper::show);
    const MessagePtr owned(call);
    return call &&
           ::sd_bus_message_append(call, helper::arguments, message.summary.c_str(), message.body.c_str(),
                                   static_cast<int>(message.urgent), message.topic.c_str(),
                                   message.opens.c_str()) >= 0 &&
           ::sd_bus_call(bus, call, helperPatience, nullptr, nullptr) >= 0;
}

void send(sd_bus* bus, const Message& message)
{
    const bool lives = !message.topic.empty() || !message.opens.empty();
    if (!lives || !showByHelper(bus, message))
        show(bus, {message.summary, message.body, message.urgent, {}, {}});
}

/// Lets a process of its own do `work`, for which it has a few seconds.
pid_t inChild(const std::function<void()>& work)
{
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    ::signal(SIGALRM, SIG_DFL);
    ::alarm(patience);
    work();
    ::_exit(EXIT_SUCCESS);
}

void wait(pid_t child)
{
    while (child > 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool become(const SessionBus& session)
{
    if (session.user == ::geteuid())
        return true;
    return ::setgroups(0, nullptr) == 0 && ::setresgid(session.group, session.group, session.group) == 0 &&
           ::setresuid(session.user, session.user, session.user) == 0;
}

} // namespace

void tellEverybody(const Message& message)
{
    std::vector<pid_t> children;
    for (const SessionBus& session : graphicalSessions()) {
        children.push_back(inChild([&] {
            if (!become(session))
                return;
            if (const Bus bus = busAt(session.address))
                send(bus.get(), message);
        }));
    }
    for (const pid_t child : children)
        wait(child);
}

void tellCaller(const Message& message)
{
    wait(inChild([&] {
        if (const Bus bus = ownBus())
            send(bus.get(), message);
    }));
}

void tell(const Message& message)
{
    ::geteuid() == 0 ? tellEverybody(message) : tellCaller(message);
}

} // namespace notify
