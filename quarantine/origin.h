#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>

namespace quarantine {

/// Where a file was, or may come back to.
struct Origin
{
    base::UniqueFd directory; ///< open for reading
    std::string leaf;         ///< a plain name in it
};

/// The place of a noted path, reached component by component without following a link.
base::Result<Origin> openOrigin(const std::string& path);

} // namespace quarantine
