#pragma once

#include "containers/bytes.h"
#include "containers/format.h"

#include <optional>

namespace containers {

/// The container that begins there by its marks, if the scanning library does not open it in a file of its
/// own, or may not open all of it.
std::optional<Container> markedAt(Content content, std::size_t begin);

/// Likewise for what lies behind something else, where the library opens hardly anything.
std::optional<Container> markedBehind(Content content, std::size_t begin);

} // namespace containers
