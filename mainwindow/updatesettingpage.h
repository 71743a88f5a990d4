#pragma once

#include <array>
#include <vector>

class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class QTimeEdit;
class QWidget;
class VCheckBox;
class VMainWidget;
class VPushButton;
class vUpdate;
struct SettingRow;

namespace pages {

/// Connection, proxy and time of the updates, and when old signatures are worth a warning.
struct UpdateSetting
{
    static constexpr char name[] = "wgtstkUpdateSetting";
    static constexpr char title[] = "Update setting";

    void buildOn(QWidget* page);
    QGroupBox* buildConnectionGroup(QWidget* page);
    QGroupBox* buildProxyGroup(QWidget* page);
    QFrame* buildProxyAuthGroup(QWidget* group);
    void languageChange();
    void connectTo(VMainWidget* window);

    /// The options of the update engine, in the order in which it is asked and told.
    std::vector<SettingRow> updateSettings() const;
    /// Those of the scan engine.
    std::array<SettingRow, 2> alertSettings() const;
    void showUpdateTime(vUpdate& engine);
    void takeUpdateTime(vUpdate& engine) const;
    /// What is wrong with the entries of the proxy; null when nothing is.
    const char* proxyError() const;

    QWidget* wgtstkUpdateSetting = nullptr;
    VCheckBox* chkUpdate = nullptr;
    QTimeEdit* updateTime = nullptr;
    VCheckBox* chkDefAlert = nullptr;
    QSpinBox* spinDays = nullptr;
    QLabel* lblOldDays = nullptr;
    QGroupBox* grpConnectionSetting = nullptr;
    QLabel* lblConnTimeOut = nullptr;
    QSpinBox* spinTimeOut = nullptr;
    QLabel* lblConnRtry = nullptr;
    QSpinBox* spinRetry = nullptr;
    VCheckBox* chkHttps = nullptr;
    QGroupBox* grpProxy = nullptr;
    VCheckBox* chkProxy = nullptr;
    QLabel* lblIP = nullptr;
    QLineEdit* txtProxyServer = nullptr;
    QLabel* lblPort = nullptr;
    QLineEdit* txtProxyPort = nullptr;
    VCheckBox* chkProxyAuth = nullptr;
    QFrame* grpProxyAuth = nullptr;
    QLabel* lblName = nullptr;
    QLineEdit* txtProxyUser = nullptr;
    QLabel* lblPassword = nullptr;
    QLineEdit* txtProxyPass = nullptr;
    VPushButton* btnSaveUpdateSetting = nullptr;
    VPushButton* btnCancelUpdateSetting = nullptr;
};

} // namespace pages
