#pragma once

#include "containers/bytes.h"
#include "containers/format.h"

#include <optional>

namespace containers {

/// Tells by its marks the container that a file is, or that is attached to a program, to a script or to a
/// picture, if the scanning library does not open it, or may not open all of it. Costs next to nothing for
/// all other files.
std::optional<Container> recognise(Content content);

/// Likewise for a part of a document: a compressed stream, that begins with two bytes only.
std::optional<Container> recogniseStream(Content content);

} // namespace containers
