#pragma once

#include <cstdint>
#include <string_view>

namespace vardo {

/// How much there is to do about a file, in the measure of bytes: what is packed, as its name says, becomes
/// several times as much.
std::uint64_t likelyWork(std::string_view name, std::uint64_t size);

} // namespace vardo
