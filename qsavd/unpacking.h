#pragma once

namespace qsavd {

/// What the library could not write while it unpacked. It goes on without, does not always say so, and calls
/// the rest clean. So the functions by which it makes and writes files lead through this program, whose
/// definitions go before those of the C library, and the first failure is kept. One scan at a time.

/// Begins anew.
void forgetFailedWrites();

/// The errno value of the first failure since then; 0 if there was none. That a file is there already, or
/// that one to be read is not to be had, is none.
int failedWrite();

/// True when the library's calls do lead through here.
bool seesWrites();

} // namespace qsavd
