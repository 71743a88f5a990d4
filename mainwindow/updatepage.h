#pragma once

class QLabel;
class QWidget;
class VLinkButton;
class VMainWidget;

namespace pages {

/// Shows how old the signatures are and how they are updated.
struct Update
{
    static constexpr char name[] = "wgtstkUpdate";
    static constexpr char title[] = "Update";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    QWidget* wgtstkUpdate = nullptr;
    QLabel* lblUpdateConfiguration = nullptr;
    QLabel* lblLastUpdated = nullptr;
    QLabel* lblLastUpdatedDate = nullptr;
    QLabel* lblUpdateRunMode = nullptr;
    QLabel* lblUpdateRunModeValue = nullptr;
    VLinkButton* lnkUpdateSetting = nullptr;
    QLabel* lblSeperator_2_2 = nullptr;
    VLinkButton* lnkUpdateNow1 = nullptr;
    QLabel* lblUpdateReport = nullptr;
    VLinkButton* lnkViewUpdateLog = nullptr;
};

} // namespace pages
