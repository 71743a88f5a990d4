#pragma once

#include <string>
#include <vector>

class QLabel;
class QTreeWidget;
class QWidget;
class VLinkButton;
class VMainWidget;
class VPushButton;

namespace pages {

/// Lists the files in quarantine.
struct Quarantine
{
    static constexpr char name[] = "wgtstkQuarantine";
    static constexpr char title[] = "Quarantined";

    void buildOn(QWidget* page);
    void languageChange();
    void connectTo(VMainWidget* window);

    /// The bytes of the selected files' names, as they are in the quarantine.
    std::vector<std::string> selectedFiles() const;

    QWidget* wgtstkQuarantine = nullptr;
    QTreeWidget* lstQuarantine = nullptr;
    QLabel* lblQuarPath = nullptr;
    VLinkButton* lnkQuarPath = nullptr;
    QLabel* lblQuarCount = nullptr;
    QLabel* lblQuarCountValue = nullptr;
    VPushButton* btnQuarRefresh = nullptr;
    VPushButton* btnDeleteQuar = nullptr;
    VPushButton* btnDeleteAllQuar = nullptr;
    VPushButton* btnCancelQuarantine = nullptr;
};

} // namespace pages
