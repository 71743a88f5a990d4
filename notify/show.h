#pragma once

#include "notify/notify.h"

#include <cstdint>
#include <memory>

#include <systemd/sd-bus.h>

namespace notify {

struct BusDeleter
{
    void operator()(sd_bus* bus) const { ::sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusDeleter>;
using MessagePtr = std::unique_ptr<sd_bus_message, BusDeleter>;

/// Has the desktop on this bus show a message, in the place of the one with the number `replaced`; 0: of
/// none. Its number; 0 when nobody shows it. Who wants a button to work stays on the bus and listens.
std::uint32_t show(sd_bus* bus, const Message& message, std::uint32_t replaced = 0);

} // namespace notify
