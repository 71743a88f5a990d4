#pragma once

#include "base/result.h"
#include "libvardo/fileactions.h"
#include "quarantine/digest.h"

#include <string>

namespace vardo {

/// A file that is in quarantine.
struct Quarantined
{
    std::string name;        ///< there
    std::string noteProblem; ///< why there is no note of how to restore it; normally empty
};

/// Moves the file under the first free name of the series "NAME", "NAME-0", "NAME-1" … into `directory`,
/// with the mode 0600 and its owner, across file systems too, after noting how to restore it. The last
/// part of `directory` is created when missing. At every moment the whole file is in one of the two
/// places. The file goes into quarantine even if the note cannot be made.
base::Result<Quarantined> quarantineFile(const ScannedFile& file, const std::string& virus,
                                         const std::string& directory, const quarantine::Beat& beat);

} // namespace vardo
