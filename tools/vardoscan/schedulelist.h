#pragma once

struct Options;

/// Prints all scheduled scans; the result is an exit code of the program. For everybody who may read the
/// store; last results are for root.
int listSchedules(const Options& options);
