#pragma once

#include "schedule/scanoptionboxes.h"

#include <QByteArray>

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QWidget;
class VCheckBox;
class VLinkButton;
class VMainWidget;
class VPushButton;
class VRadioButton;
class Vardo;

namespace pages {

/// The scan configuration, as the engine holds it.
struct ScanSetting : ScanOptionBoxes
{
    static constexpr char name[] = "wgtstkScanSetting";
    static constexpr char title[] = "Options";

    void buildOn(QWidget* page);
    QGroupBox* buildObjectGroup(QWidget* page);
    QGroupBox* buildLogGroup(QWidget* page);
    QWidget* buildLogLevels(QWidget* parent);
    void languageChange();
    void connectTo(VMainWidget* window);

    void showLogOptions(Vardo& engine);
    void takeScanOptions(Vardo& engine) const;
    bool takeLogOptions(Vardo& engine) const;

    QWidget* wgtstkScanSetting = nullptr;
    QLabel* lblInfectedAction = nullptr;
    QComboBox* cmbScanAction = nullptr;
    QGroupBox* grpSettings = nullptr;
    QGroupBox* grpLogOption = nullptr;
    QLabel* lblLogLocation = nullptr;
    QLineEdit* editLogLoc = nullptr;
    VPushButton* btnBrowseLogLoc = nullptr;
    QWidget* btngrpLogLevel = nullptr;
    QLabel* lblLogLevel = nullptr;
    VRadioButton* rdoLogAll = nullptr;
    VRadioButton* rdoLogInfected = nullptr;
    VRadioButton* rdoLogNone = nullptr;
    VCheckBox* chkStartupScan = nullptr;
    VLinkButton* lnkGlobalScanConf = nullptr;
    VPushButton* btnSaveScanSetting = nullptr;
    VPushButton* btnCancelScanSetting = nullptr;

    QByteArray logLocation; ///< the directory of the scan logs as the engine gave it
};

} // namespace pages
