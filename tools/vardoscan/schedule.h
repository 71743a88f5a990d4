#pragma once

struct Options;

// What is done about scheduled scans, by root. The results are exit codes of the program.

/// Runs the one that has the id of the options, if this is one of its dates.
int runSchedule(const Options& options);

/// Runs those that were due while the machine was off, one after the other.
int runMissed(const Options& options);

/// Makes the file of cron anew.
int remakeCron();
