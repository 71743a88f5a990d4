#pragma once

#include "containers/bytes.h"

namespace containers {

/// Where an ELF or a PE program ends, as its headers tell; 0 when they do not.
std::uint64_t endOfElf(Content content);
std::uint64_t endOfPe(Content content);

} // namespace containers
