#pragma once

/// The instance guard: one file for the whole machine that holds the process id of the running window
/// in decimal. Its directory is writable for a group, so nothing here follows a link there.

/// True when the guard file names a live process, whatever process that is. Removes a stale guard
/// file: one that names no live process, holds no number, or is no file at all.
bool isRunning();

/// Writes the guard file for this process: 0, or -1 when it cannot be written or when another
/// instance was faster. Test the sign of the 8-bit result.
char createPIDFile();

/// Removes the guard file if it names this process.
void remPIDFile();
