#pragma once

#include <initializer_list>

/// Runs a program, named by its whole path, with its arguments and waits for its end; no shell is involved.
/// Returns its wait status, that of an exit with 127 when there is no such program, or -1 when no process
/// could be made.
int runCommand(std::initializer_list<const char*> command);
