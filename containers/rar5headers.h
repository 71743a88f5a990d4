#pragma once

#include "containers/bytes.h"

#include <optional>
#include <string>

namespace containers {

/// The first member of a RAR archive of version 5 that is encrypted: its name, or none where the names are
/// encrypted, too. libarchive takes such data for damaged.
std::optional<std::string> encryptedRar5Member(Content content);

} // namespace containers
