#pragma once

#include <string>

/// Tells why a start is refused, which the box about it has no room for: on the standard error, in the
/// system's log, and to the person at the desktop by a notification. `box` is the box's text. Returns at
/// once.
void tellCause(const std::string& box, const std::string& cause);

/// Why the process cannot claim the one window of the machine.
std::string causeOfNoGuard();
