#pragma once

#include "base/result.h"
#include "libvardo/fileactions.h"
#include "quarantine/digest.h"

#include <string>

namespace vardo {

/// Moves the file under the first free name of the series "NAME", "NAME-0", "NAME-1" … into `directory`,
/// with the mode 0600 and its owner, across file systems too, after noting how to restore it. The last
/// part of `directory` is created when missing. At every moment the whole file is in one of the two
/// places. Without that note the file stays where it is. The result is its name in quarantine.
base::Result<std::string> quarantineFile(const ScannedFile& file, const std::string& virus,
                                         const std::string& directory, const quarantine::Beat& beat);

} // namespace vardo
