#pragma once

#include "notify/show.h"

#include <chrono>
#include <map>
#include <string>

/// The messages that this program has on a desktop, and what their buttons do. Answers calls of `Show`
/// (notify/helper.h) by whoever belongs to the session.
class Notices
{
  public:
    /// `bus` must outlive it.
    explicit Notices(sd_bus* bus);

    /// Takes the name on the bus; false when somebody else has it, or the bus is gone.
    bool serve();
    /// Returns when no message is on the desktop any more, none came for a long time, or the bus is gone.
    void run();

  private:
    struct Notice
    {
        std::string topic;
        std::string opens;
    };

    static int onShow(sd_bus_message* call, void* self, sd_bus_error* error);
    static int onInvoked(sd_bus_message* signal, void* self, sd_bus_error* error);
    static int onClosed(sd_bus_message* signal, void* self, sd_bus_error* error);
    void take(notify::Message message);

    sd_bus* bus_;
    std::map<std::uint32_t, Notice> notices_; ///< by the desktop's numbers
    std::chrono::steady_clock::time_point end_;
};
