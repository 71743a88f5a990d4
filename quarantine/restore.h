#pragma once

#include "base/result.h"

#include <string>

namespace quarantine {

/// Puts the file `name` of the quarantine directory back where it was, with its owner, permissions and times
/// as far as the caller may, and drops its notes. The result is the path.
///
/// Fails and changes nothing when there is no note to be believed, when the content is another one, when
/// something stands at the path already, or when a directory on the way has gone or is a link by now.
/// A note is acted upon with the rights of its author: root writes for people only where they could
/// themselves. For one thread only, since root's rights are laid down meanwhile.
base::Result<std::string> restoreFile(int quarantine, const std::string& name);

} // namespace quarantine
