#pragma once

#include "containers/opener.h"

namespace containers {

/// Unpacks the whole of a stream that zlib packed. What turns out not to be one is no container.
Opened openZlib(Content content, const Workshop& workshop);

} // namespace containers
