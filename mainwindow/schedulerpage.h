#pragma once

class QLabel;
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

    QWidget* wgtstkScheduler = nullptr;
    QTreeWidget* lstSchedule = nullptr;
    QLabel* lblScheduleWarning = nullptr;
    VPushButton* btnAddJob = nullptr;
    VPushButton* btnEditSchedule = nullptr;
    VPushButton* btnDeleteSchedule = nullptr;
    VPushButton* btnPurgeSchedule = nullptr;
};

} // namespace pages
