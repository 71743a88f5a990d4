#pragma once

namespace runasroot {

/// Sets back what a process keeps of whoever started it and no program asks for: limits, timers, signals and
/// how it is scheduled. They could end what is done here half-way, or go on in a cron daemon that is started
/// again. Needs root's rights for all of it; what fails stays.
void setBack();

} // namespace runasroot
