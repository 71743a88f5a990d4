#pragma once

#include <string>

namespace qsavd {

/// Leaves the process, for good, only the files that it has open and those below `directory`. Needs
/// no_new_privs. Does what the kernel can, which in an old one is nothing.
void confineFiles(const std::string& directory);

/// Leaves the process, for good, only the system calls that scanning takes; all others fail with
/// EPERM. Nothing can be made executable any more. False when the filter does not come into force.
bool filterSystemCalls();

} // namespace qsavd
