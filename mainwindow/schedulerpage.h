#pragma once

class QByteArray;
class QLabel;
class QSpacerItem;
class QTreeWidget;
class QWidget;
class VMainWidget;
class VPushButton;

namespace pages {

/// Lists the scheduled scans.
struct Scheduler
{
    static constexpr char name[] = "wgtstkScheduler";
    static constexpr char title[] = "Scheduler";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    /// The name of the selected job, in its bytes and without the mark of an outdated one; empty without a
    /// selection.
    QByteArray selectedJob() const;

    QWidget* wgtstkScheduler = nullptr;
    QTreeWidget* lstSchedule = nullptr;
    QLabel* lblScheduleWarning = nullptr;
    QSpacerItem* scheduleSpacer = nullptr;
    VPushButton* btnAddJob = nullptr;
    VPushButton* btnEditSchedule = nullptr;
    VPushButton* btnDeleteSchedule = nullptr;
    VPushButton* btnPurgeSchedule = nullptr;
};

} // namespace pages
