#pragma once

#include <string>
#include <vector>

namespace quarantine {

/// The names in the directory open as `directory`, but for "." and "..", sorted. What cannot be read is
/// empty.
std::vector<std::string> listDirectory(int directory);

} // namespace quarantine
