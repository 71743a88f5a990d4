#pragma once

#include "base/paths.h"

#include <sys/stat.h>

namespace base {

/// Makes root's directory for what lives as long as the system does, where nobody else can have put anything.
inline void makeRunDirectory()
{
    constexpr mode_t open = 0755; // workers go through it as somebody else
    if (::mkdir(paths::runDirectory, open) == 0)
        ::chmod(paths::runDirectory, open); // whatever the umask took away
}

} // namespace base
