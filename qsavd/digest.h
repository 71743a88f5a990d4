#pragma once

#include "protocol/protocol.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace qsavd {

using Digest = std::array<std::uint8_t, identitySize>;

/// A digest of a text; zeros for an empty one.
Digest digestOf(std::string_view text);

/// Tells this program, with all the libraries that it runs on, from every other build of any of them. Zeros
/// when that cannot be told.
Digest engineDigest();

} // namespace qsavd
