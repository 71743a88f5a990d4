#include "mainwindow/vmainwidget.h"

#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QTimeEdit>
#include <QTreeWidget>

std::vector<QWidget*> VMainWidget::notYetAvailable() const
{
    return {lnkUpdateNow, lnkUpdateNow1, btnAddJob, btnEditSchedule, btnDeleteSchedule, btnPurgeSchedule};
}

void VMainWidget::connectWidgets()
{
    connect(btngrpMenu, &QButtonGroup::idClicked, this, &VMainWidget::changeSelectionMenuText);
    connectClicks();
    connectChanges();
}

void VMainWidget::connectClicks()
{
    connect(btnClose, &QAbstractButton::clicked, this, &QWidget::close);
    connect(btnSaveScanSetting, &QAbstractButton::clicked, this, &VMainWidget::slotSaveScanSettings);
    connect(btnSaveUpdateSetting, &QAbstractButton::clicked, this, &VMainWidget::slotSaveUpdateSettings);
    const struct
    {
        QAbstractButton* button;
        void (VMainWidget::*slot)();
    } clicks[] = {
        {btnMinimize, &VMainWidget::showMinimized},
        {lnkHelp, &VMainWidget::showHelpMenu},
        {lnkFeedback, &VMainWidget::showFeedback},
        {lnkLastScan, &VMainWidget::slotFullScan},
        {lnkSelect, &VMainWidget::slotScanSelected},
        {lnkScanHome, &VMainWidget::slotScanHome},
        {lnkScanEntire, &VMainWidget::slotScanEntire},
        {lnkScanMem, &VMainWidget::slotScanMemory},
        {lnkScanSetting, &VMainWidget::showScanSetting},
        {lnkUpdateSetting, &VMainWidget::showUpdateSetting},
        {lnkGlobalScanConf, &VMainWidget::loadGlobalSettings},
        {btnBrowseLogLoc, &VMainWidget::slotBrowseLogLocation},
        {btnCancelScanSetting, &VMainWidget::slotCancelSetting},
        {btnCancelUpdateSetting, &VMainWidget::slotCancelSetting},
        {btnCancelQuarantine, &VMainWidget::slotCancelSetting},
        {lnkViewScanLog, &VMainWidget::showScanLog},
        {btnViewScanLog, &VMainWidget::slotViewScanLogs},
        {btnDeleteScanLog, &VMainWidget::slotDeleteScanLogs},
        {btnDeleteScanLogs, &VMainWidget::slotDeleteAllScanLogs},
        {lnkViewUpdateLog, &VMainWidget::showUpdateLog},
        {btnViewUpdateLog, &VMainWidget::slotViewUpdateLogs},
        {btnDeleteUpdateLog, &VMainWidget::slotDeleteUpdateLogs},
        {btnDeleteUpdateLogs, &VMainWidget::slotDeleteAllUpdateLogs},
        {lnkQuarantine, &VMainWidget::showQuarantine},
        {btnQuarRefresh, &VMainWidget::showQuarantine},
        {btnDeleteQuar, &VMainWidget::slotDeleteQuarantine},
        {btnDeleteAllQuar, &VMainWidget::slotDeleteAllQuarantine},
        {lnkQuarPath, &VMainWidget::openQuarPath},
        {lnkLiveChat, &VMainWidget::showOnlineChat},
        {lnkOnlineHelp, &VMainWidget::showWiki},
        {lnkForum, &VMainWidget::showForum},
    };
    for (const auto& [button, slot] : clicks)
        connect(button, &QAbstractButton::clicked, this, slot);
}

void VMainWidget::connectChanges()
{
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{
             chkArchive, chkCrossFS, chkHeuristic, chkMail, chkRecursive, chkPack, chkStartupScan, chkSymLink,
             rdoLogAll, rdoLogInfected, rdoLogNone})
        connect(button, &QAbstractButton::toggled, this, &VMainWidget::scanValueChanged);
    connect(cmbScanAction, &QComboBox::activated, this, &VMainWidget::scanValueChanged);

    for (QAbstractButton* button : {chkHttps, chkProxy})
        connect(button, &QAbstractButton::toggled, this, &VMainWidget::updateValueChanged);
    const std::pair<QCheckBox*, void (VMainWidget::*)(int)> switches[] = {
        {chkProxy, &VMainWidget::slotChkProxy},
        {chkProxyAuth, &VMainWidget::slotChkProxyAuth},
        {chkUpdate, &VMainWidget::slotChkUpdate},
        {chkDefAlert, &VMainWidget::slotChkDefAlert},
    };
    for (const auto& [box, slot] : switches)
        connect(box, &QCheckBox::stateChanged, this, slot);
    for (QSpinBox* spin : {spinDays, spinRetry, spinTimeOut})
        connect(spin, &QSpinBox::valueChanged, this, &VMainWidget::updateValueChanged);
    for (QLineEdit* edit : {txtProxyPass, txtProxyPort, txtProxyServer, txtProxyUser})
        connect(edit, &QLineEdit::textChanged, this, &VMainWidget::updateValueChanged);
    connect(updateTime, &QTimeEdit::timeChanged, this, &VMainWidget::updateValueChanged);

    connect(lstScanLogs, &QTreeWidget::itemSelectionChanged, this, &VMainWidget::slotScanLogSelection);
    connect(lstScanLogs, &QTreeWidget::itemDoubleClicked, this, &VMainWidget::slotViewScanLogs);
    connect(lstUpdateLogs, &QTreeWidget::itemSelectionChanged, this, &VMainWidget::slotUpdateLogSelection);
    connect(lstUpdateLogs, &QTreeWidget::itemDoubleClicked, this, &VMainWidget::slotViewUpdateLogs);
    connect(lstQuarantine, &QTreeWidget::itemSelectionChanged, this, &VMainWidget::slotQuarSelection);
    connect(this, &VMainWidget::scanSettingsModified, this, &VMainWidget::slotScanValueChanged);
    connect(this, &VMainWidget::updateSettingsModified, this, &VMainWidget::slotUpdateValueChanged);
}
