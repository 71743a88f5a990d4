#include "notify/notify.h"

#include "notify/sessions.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include <grp.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace notify {

namespace {

constexpr unsigned patience = 5; // seconds; the bus library waits without limit for a silent bus
constexpr unsigned char normal = 1;
constexpr unsigned char critical = 2;

struct BusDeleter
{
    void operator()(sd_bus* bus) const { ::sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

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

/// A body is markup.
std::string escaped(const std::string& text)
{
    std::string safe;
    for (const char character : text) {
        switch (character) {
        case '&':
            safe += "&amp;";
            break;
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        default:
            safe += character;
        }
    }
    return safe;
}

/// Without a hint of whose entry in the menu we are: some take the message away when such a sender ends.
void show(sd_bus* bus, const Message& message)
{
    ::sd_bus_call_method(bus, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                         "org.freedesktop.Notifications", "Notify", nullptr, nullptr, "susssasa{sv}i",
                         "Vardo", 0u, "vardo", message.summary.c_str(), escaped(message.body).c_str(), 0, 1,
                         "urgency", "y", message.urgent ? critical : normal, -1);
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
                show(bus.get(), message);
        }));
    }
    for (const pid_t child : children)
        wait(child);
}

void tellCaller(const Message& message)
{
    wait(inChild([&] {
        if (const Bus bus = ownBus())
            show(bus.get(), message);
    }));
}

void tell(const Message& message)
{
    ::geteuid() == 0 ? tellEverybody(message) : tellCaller(message);
}

} // namespace notify
