#include "tools/vardonotify/notices.h"

#include "notify/helper.h"
#include "tools/vardonotify/opening.h"

#include <algorithm>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::hours longest{8}; // not every desktop tells when a message has gone
constexpr std::chrono::seconds first{10};

namespace helper = notify::helper;

} // namespace

Notices::Notices(sd_bus* bus)
    : bus_(bus)
    , end_(Clock::now() + first)
{
}

bool Notices::serve()
{
    static constexpr sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(helper::show, helper::arguments, "", onShow, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    constexpr char name[] = "org.freedesktop.Notifications";
    const auto watch = [&](const char* signal, sd_bus_message_handler_t handler) {
        return ::sd_bus_match_signal(bus_, nullptr, name, nullptr, name, signal, handler, this) >= 0;
    };
    return ::sd_bus_add_object_vtable(bus_, nullptr, helper::object, helper::name, table, this) >= 0 &&
           watch("ActionInvoked", onInvoked) && watch("NotificationClosed", onClosed) &&
           ::sd_bus_request_name(bus_, helper::name, 0) >= 0;
}

void Notices::run()
{
    int handled = 0;
    while ((handled = ::sd_bus_process(bus_, nullptr)) >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end_ - Clock::now());
        if (handled == 0 &&
            (left.count() <= 0 || ::sd_bus_wait(bus_, static_cast<std::uint64_t>(left.count())) < 0))
            break;
    }
    // Who calls from now on has the bus start another one; who called before is answered.
    ::sd_bus_release_name(bus_, helper::name);
    while (::sd_bus_process(bus_, nullptr) > 0) {
    }
}

/// One that cannot be opened by this person has no button.
void Notices::take(notify::Message message)
{
    const auto same = std::find_if(notices_.begin(), notices_.end(), [&](const auto& notice) {
        return !message.topic.empty() && notice.second.topic == message.topic;
    });
    const std::uint32_t replaced = same == notices_.end() ? 0 : same->first;
    if (!mayOpen(message.opens))
        message.opens.clear();
    const std::uint32_t number = notify::show(bus_, message, replaced);
    notices_.erase(replaced);
    if (number != 0)
        notices_[number] = {std::move(message.topic), std::move(message.opens)};
    end_ = notices_.empty() ? Clock::now() : Clock::now() + longest;
}

int Notices::onShow(sd_bus_message* call, void* self, sd_bus_error* /*error*/)
{
    const char *summary = nullptr, *body = nullptr, *topic = nullptr, *opens = nullptr;
    int urgent = 0;
    const int read = ::sd_bus_message_read(call, helper::arguments, &summary, &body, &urgent, &topic, &opens);
    if (read < 0)
        return read;
    static_cast<Notices*>(self)->take({summary, body, urgent != 0, topic, opens});
    return ::sd_bus_reply_method_return(call, "");
}

int Notices::onInvoked(sd_bus_message* signal, void* self, sd_bus_error* /*error*/)
{
    auto& notices = static_cast<Notices*>(self)->notices_;
    std::uint32_t number = 0;
    const auto found = ::sd_bus_message_read(signal, "u", &number) < 0 ? notices.end() : notices.find(number);
    if (found != notices.end() && !found->second.opens.empty())
        open(found->second.opens);
    return 0;
}

int Notices::onClosed(sd_bus_message* signal, void* self, sd_bus_error* /*error*/)
{
    auto* notices = static_cast<Notices*>(self);
    std::uint32_t number = 0;
    if (::sd_bus_message_read(signal, "u", &number) >= 0 && notices->notices_.erase(number) > 0 &&
        notices->notices_.empty())
        notices->end_ = Clock::now();
    return 0;
}
