#pragma once

#include "containers/opener.h"

namespace containers {

/// Opens a squashfs image, such as a snap or the image in an AppImage, by libsquashfs.
Opened openSquashfs(Content content, const Workshop& workshop);

} // namespace containers
