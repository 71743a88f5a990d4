#pragma once

#include "containers/bytes.h"

namespace containers {

/// How far an archive of plain members goes, as its headers tell. The scanning library stops at its end, and
/// takes one that is cut short for whole.
struct Extent
{
    bool cutShort = false;
    std::size_t rest =
        0; ///< where something else follows its end, as in an initial RAM disk; 0: nothing does
};

Extent extentOfTar(Content content);

/// With the headers of ASCII digits; nothing when there is none at the beginning.
Extent extentOfCpio(Content content);

/// Whether the volume that an ISO 9660 image says it is reaches beyond the image.
bool isIsoCutShort(Content content);

} // namespace containers
