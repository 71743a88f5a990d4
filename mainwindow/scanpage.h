#pragma once

class QLabel;
class QWidget;
class VLinkButton;
class VMainWidget;

namespace pages {

/// Starts scans, and leads to what belongs to them.
struct Scan
{
    static constexpr char name[] = "wgtstkScan";
    static constexpr char title[] = "Scan";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* wgtstkScan = nullptr;
    VLinkButton* lnkSelect = nullptr;
    VLinkButton* lnkScanHome = nullptr;
    VLinkButton* lnkScanEntire = nullptr;
    VLinkButton* lnkScanMem = nullptr;
    QLabel* lblLine = nullptr;
    VLinkButton* lnkScanSetting = nullptr;
    QLabel* lblSeperator_2 = nullptr;
    VLinkButton* lnkViewScanLog = nullptr;
    QLabel* lblSeperator_24 = nullptr;
    VLinkButton* lnkQuarantine = nullptr;
};

} // namespace pages
