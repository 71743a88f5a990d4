#pragma once

#include "base/result.h"
#include "quarantine/digest.h"

namespace vardo {

/// Brings the content of `file` to the disk as fsync() does, which can take long, with a beat every 100 ms.
/// ECANCELED when `beat` gives it up; the system goes on with it then.
base::Result<bool> syncFile(int file, const quarantine::Beat& beat);

} // namespace vardo
