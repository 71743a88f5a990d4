#pragma once

#include <QTime>

#include <optional>

/// Writes the crontab of the automatic update, empty without a `time`. False when it cannot be opened.
bool writeUpdateCrontab(std::optional<QTime> time);

/// Hands that crontab to the user whose crontab it is. Failures are silent.
void installUpdateCrontab();

/// False only when no process could be made for it.
bool restartCron();
