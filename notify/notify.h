#pragma once

#include <string>

/// Desktop notifications (org.freedesktop.Notifications) from programs without a window. Where there is no
/// session, no bus or nobody to show it, nothing happens. Everything returns within a few seconds, whatever
/// the buses do.
namespace notify {

struct Message
{
    std::string summary;    ///< plain text in UTF-8, as the body
    std::string body;       ///< no markup: what looks like it is shown as it stands
    bool urgent = false;    ///< stays until somebody closes it
    std::string topic = {}; ///< takes the place of the last one of its topic; empty: of none
    std::string opens = {}; ///< what its button opens, `window` or a log's absolute path; empty: no button
};

inline constexpr char window[] = "window";

/// Tells every person with a graphical session on this machine, over that session's own bus and with that
/// person's rights. For root.
void tellEverybody(const Message& message);

/// Tells the caller, over the bus that the environment names.
void tellCaller(const Message& message);

/// Tells whom a message of the calling program is for: everybody when root calls, else the caller.
void tell(const Message& message);

} // namespace notify
