#pragma once

#include "libvardo/threadsignals.h"

#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace vardo {

/// Does away with what holds open files, on a thread of its own: closing a file of a server that does not
/// answer takes as long as opening it.
template <class Files>
void closeElsewhere(Files files)
{
    try {
        std::thread([held = std::make_unique<Files>(std::move(files))]() mutable {
            leaveSignalsToOthers();
            held.reset();
        }).detach();
    } catch (const std::system_error&) {
        // Without a thread they are closed here.
    }
}

} // namespace vardo
