#pragma once

#include <string>

namespace qsavd {

/// Takes from the process, for good, every file that it has not opened yet, but those below
/// `directory`. Needs no_new_privs. Does what the kernel can: an old one lets it do nothing.
void confineFiles(const std::string& directory);

/// Leaves the process, for good, only the system calls that scanning takes; all others fail with
/// EPERM. Nothing can be made executable any more. False when the filter does not come into force.
bool filterSystemCalls();

} // namespace qsavd
