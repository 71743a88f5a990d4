#pragma once

struct Options;

/// Adds the paths that the options tell of without naming them: those of a list, and the home directory.
/// False, once told, when they cannot be had.
bool completePaths(Options& options);
