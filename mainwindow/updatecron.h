#pragma once

#include <QTime>

#include <optional>

/// Writes the crontab of the automatic update, empty without a `time`. False when it cannot be opened.
bool writeUpdateCrontab(std::optional<QTime> time);

/// Hands that crontab to the user whose crontab it is. Failures are silent.
void installUpdateCrontab();

/// True when a process was made for it, whatever came of it.
bool restartCron();
