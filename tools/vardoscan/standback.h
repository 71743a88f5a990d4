#pragma once

/// How scheduled scans run, by the section [Schedule] of vardo.conf.
struct ScheduleSettings
{
    int nice = 19;
    bool idleIo = true;
    unsigned cores = 50; ///< percent of those that there are
    bool notify = true;
};

/// Reads them from the installation's file. What is missing or makes no sense has its default.
ScheduleSettings readScheduleSettings();

/// Lets this process, and the workers of its scans, stand back behind others from now on.
void standBack(const ScheduleSettings& settings);
