#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

class QTreeWidgetItem;

/// The jobs of the schedule store as rows of a list: name, frequency, time, objects.
struct JobList
{
    QList<QTreeWidgetItem*> rows; ///< the caller's
    bool anyOutdated = false;     ///< some row is marked as a single run that is over
};

/// Asks the engine for each job that has a section in the store; nothing when out of memory. Jobs that it
/// cannot read, and those without objects, are left out.
std::optional<JobList> readJobList();

/// The bytes of the name of a row's job.
QByteArray jobName(const QTreeWidgetItem& row);
