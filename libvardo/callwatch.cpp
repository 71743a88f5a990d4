#include "libvardo/callwatch.h"

namespace vardo {

bool CallWatch::giveUp(Clock::duration limit)
{
    const std::lock_guard lock(mutex_);
    if (caller_ == std::thread::id() || Clock::now() - since_ < limit)
        return false;
    caller_ = {};
    return true;
}

void CallWatch::enter()
{
    const std::lock_guard lock(mutex_);
    caller_ = std::this_thread::get_id();
    since_ = Clock::now();
}

void CallWatch::leave()
{
    const std::lock_guard lock(mutex_);
    if (caller_ != std::this_thread::get_id())
        throw GivenUp();
    caller_ = {};
}

} // namespace vardo
