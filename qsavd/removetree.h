#pragma once

#include <string>

namespace qsavd {

/// Deletes the directory `path` with all that is in it, as far as that is allowed: however deep it is, and
/// with modes that lock out its owner. Follows no link.
void removeTree(const std::string& path);

} // namespace qsavd
