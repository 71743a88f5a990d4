#pragma once

#include "base/result.h"

#include <functional>
#include <string>

#include <sys/types.h>

namespace quarantine {

/// Called every now and then during something long; false gives it up.
using Beat = std::function<bool()>;

/// What the content of a file is told by.
struct Digest
{
    std::string sha256; ///< 64 hexadecimal digits
    off_t size = 0;

    bool operator==(const Digest&) const = default;
};

/// Reads `file` from its beginning, whatever its position, as far as its end is now: whoever keeps making it
/// longer does not keep us here. Unless `copy` is -1 the same bytes are written there. ECANCELED when `beat`
/// gives it up.
base::Result<Digest> digestFile(int file, int copy = -1, const Beat& beat = {});

} // namespace quarantine
