#pragma once

class QSpacerItem;
class QTreeWidget;
class QWidget;
class VMainWidget;
class VPushButton;

namespace pages {

/// Lists what updates have written.
struct UpdateLog
{
    static constexpr char name[] = "wgtstkUpdateLog";
    static constexpr char title[] = "Update log";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* wgtstkUpdateLog = nullptr;
    QTreeWidget* lstUpdateLogs = nullptr;
    QSpacerItem* updateLogSpacer = nullptr;
    VPushButton* btnViewUpdateLog = nullptr;
    VPushButton* btnDeleteUpdateLog = nullptr;
    VPushButton* btnDeleteUpdateLogs = nullptr;
};

/// Lists what scans have written.
struct ScanLog
{
    static constexpr char name[] = "wgtstkScanLog";
    static constexpr char title[] = "Scan log";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* wgtstkScanLog = nullptr;
    QTreeWidget* lstScanLogs = nullptr;
    QSpacerItem* scanLogSpacer = nullptr;
    VPushButton* btnViewScanLog = nullptr;
    VPushButton* btnDeleteScanLog = nullptr;
    VPushButton* btnDeleteScanLogs = nullptr;
};

} // namespace pages
