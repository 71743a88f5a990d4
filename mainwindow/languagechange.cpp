#include "mainwindow/vmainwidget.h"

#include "base/paths.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>

// Every fixed text of the window, page by page.

namespace {

struct ButtonText
{
    QAbstractButton* button;
    const char* text;
    const char* toolTip = nullptr;
    const char* shortcut = nullptr;
};

struct LabelText
{
    QLabel* label;
    const char* text;
};

constexpr const char* scanActions[] = {
    QT_TRANSLATE_NOOP("VMainWidget", "Log only"),
    QT_TRANSLATE_NOOP("VMainWidget", "Disinfect (if not possible, Log)"),
    QT_TRANSLATE_NOOP("VMainWidget", "Disinfect (if not possible, delete file)"),
    QT_TRANSLATE_NOOP("VMainWidget", "Disinfect (if not possible, Quarantine file)"),
    QT_TRANSLATE_NOOP("VMainWidget", "Disinfect (if not possible, Rename file)"),
    QT_TRANSLATE_NOOP("VMainWidget", "Disinfect (if not possible Prompt Action)"),
    QT_TRANSLATE_NOOP("VMainWidget", "Delete"),
    QT_TRANSLATE_NOOP("VMainWidget", "Quarantine"),
    QT_TRANSLATE_NOOP("VMainWidget", "Rename"),
    QT_TRANSLATE_NOOP("VMainWidget", "Ask user"),
};

void setTexts(std::initializer_list<ButtonText> texts)
{
    for (const ButtonText& entry : texts) {
        if (entry.text)
            entry.button->setText(VMainWidget::tr(entry.text));
        if (entry.toolTip)
            entry.button->setToolTip(VMainWidget::tr(entry.toolTip));
        // A new text drops the shortcut, so this comes last.
        if (entry.shortcut)
            entry.button->setShortcut(QKeySequence(VMainWidget::tr(entry.shortcut)));
    }
}

void setTexts(std::initializer_list<LabelText> texts)
{
    for (const LabelText& entry : texts)
        entry.label->setText(VMainWidget::tr(entry.text));
}

} // namespace

void VMainWidget::languageChange()
{
    setWindowTitle(tr("Vardo"));
    frameTexts();
    mainPageTexts();
    listPageTexts();
    scanSettingTexts();
    updateSettingTexts();
    showTitle(ScanPage);
}

void VMainWidget::frameTexts()
{
    setTexts({
        ButtonText{btnScan, nullptr, "Show scan menu"},
        {btnUpdate, nullptr, "Show update menu"},
        {btnScheduler, nullptr, "Show scheduler menu"},
        {btnMinimize, nullptr, "Minimize"},
        {btnClose, nullptr, "Close"},
        {lnkFeedback, "Feedback", "Send your feedback"},
        {lnkHelp, "Help", "Shows help menu"},
        {lnkUpdateNow, nullptr, "Start the update process"},
    });
    setTexts({
        LabelText{lblSeperator, "|"},
        {lblUpdateDate, "Date of virus signature"},
        {lblLastScan, "Last computer scan"},
    });
}

void VMainWidget::mainPageTexts()
{
    setTexts({
        ButtonText{lnkSelect, "Custom Scan", "Scan the selected files and directories"},
        {lnkScanHome, "Scan home directories", "Scan the home directory of current user"},
        {lnkScanEntire, "Scan My Computer", "Scan the entire computer"},
        {lnkScanMem, "Scan memory", "Scan the running process in memory"},
        {lnkScanSetting, "Options", "Click to view and change scan setting"},
        {lnkViewScanLog, "Logs", "Click to view scan report"},
        {lnkQuarantine, "Quarantined", "Shows quarantined files"},
        {lnkUpdateSetting, "Settings", "Click to view and change update setting"},
        {lnkUpdateNow1, "Update now", "Start the update process now"},
        {lnkViewUpdateLog, "View log", "Click to view update report"},
        {lnkLiveChat, "Live Chat", "Redirect you to Vardo online live chat"},
        {lnkOnlineHelp, "Vardo Online Help", "Redirect you to Vardo online help support"},
        {lnkForum, "Quillstone Forum", "Redirect you to Vardo online forum"},
    });
    setTexts({
        LabelText{lblSeperator_2, "|"},
        {lblSeperator_24, "|"},
        {lblSeperator_2_2, "|"},
        {lblUpdateConfiguration, "Configuration"},
        {lblLastUpdated, "Last database updated"},
        {lblUpdateRunMode, "Run mode"},
        {lblUpdateReport, "Reports"},
        {lblLiveChat,
         "Live Chat provides you the option of chatting with our 24x7 online support team to solve "
         "your technical queries and problems when using Vardo."},
        {lblVardoOnline,
         "The Vardo Online Help has comprehensive information on Vardo. The wiki has the help "
         "file, knowledge base and general FAQs of Vardo."},
        {lblForum, "On the Quillstone Forum, you can create or join discussion groups on Vardo. It contains "
                   "various tweaks to maximize the capabilities of Vardo."},
    });
}

void VMainWidget::listPageTexts()
{
    setTexts({
        ButtonText{btnAddJob, "&Add task", "Add new scanning schedule", "Alt+A"},
        {btnEditSchedule, "&Edit", "Edit selected scanning schedule", "Alt+E"},
        {btnDeleteSchedule, "&Delete", "Delete selected schedule", "Alt+D"},
        {btnPurgeSchedule, "&Purge", "Purge outdated schedule", "Alt+P"},
        {btnViewScanLog, "&View", "Show the selected scan log", "Alt+V"},
        {btnDeleteScanLog, "&Delete", "Delete selected scan log", "Alt+D"},
        {btnDeleteScanLogs, "Delete &All", "Delete all scan logs", "Alt+A"},
        {btnViewUpdateLog, "&View", "Show the selected update log", "Alt+V"},
        {btnDeleteUpdateLog, "&Delete", "Delete selected update log", "Alt+D"},
        {btnDeleteUpdateLogs, "Delete &All", "Delete all update logs", "Alt+A"},
        {btnQuarRefresh, "Refresh", nullptr, "Alt+R"},
        {btnDeleteQuar, "&Delete", nullptr, "Alt+D"},
        {btnDeleteAllQuar, "Delete &All", nullptr, "Alt+A"},
        {btnCancelQuarantine, "&Cancel", "Take back to scan menu", "Alt+C"},
    });
    setTexts({LabelText{lblScheduleWarning, "*Schedule(s) outdated"}});
    lblQuarPath->setText(tr("Quarantined Path") + QLatin1StringView(" :-"));
    lnkQuarPath->setText(QLatin1StringView(paths::quarantine) + u'/');
    lblQuarCount->setText(tr("Quarantined count") + QLatin1StringView(" :- "));
}

void VMainWidget::scanSettingTexts()
{
    setTexts({
        ButtonText{chkRecursive, "Include Sub-directory"},
        {chkMail, "Mails"},
        {chkHeuristic, "Heuristic"},
        {chkCrossFS, "Cross file system"},
        {chkArchive, "Archives"},
        {chkPack, "Packed"},
        {chkSymLink, "Follow symbolic links"},
        {btnBrowseLogLoc, "...", "Allows you to set log location directory"},
        {rdoLogAll, "All"},
        {rdoLogInfected, "Infected"},
        {rdoLogNone, "Minimum"},
        {chkStartupScan, "Scan all running process(es) at startup"},
        {lnkGlobalScanConf, "Restore global settings", "Restore the global scan setting"},
        {btnSaveScanSetting, "&Save", "Save the changes made in scan setting", "Alt+S"},
        {btnCancelScanSetting, "&Cancel", "Cancel the changes made in scan setting", "Alt+C"},
    });
    setTexts({
        LabelText{lblInfectedAction, "Actions in case of virus detection"},
        {lblLogLocation, "Log location"},
        {lblLogLevel, "Log level"},
    });
    grpSettings->setTitle(tr("Settings"));
    grpLogOption->setTitle(tr("Log settings"));
    cmbScanAction->clear();
    for (const char* action : scanActions)
        cmbScanAction->addItem(tr(action));
}

void VMainWidget::updateSettingTexts()
{
    setTexts({
        ButtonText{chkDefAlert, "Warn, if virus signature is more than"},
        {chkHttps, "Use https"},
        {chkProxy, "Download via Proxy"},
        {chkProxyAuth, "Proxy authentication"},
        {btnSaveUpdateSetting, "&Save", "Save the changes made in update setting", "Alt+S"},
        {btnCancelUpdateSetting, "&Cancel", "Cancel the changes made in update setting", "Alt+C"},
    });
    setTexts({
        LabelText{lblOldDays, "days old."},
        {lblConnTimeOut, "Connection time out"},
        {lblConnRtry, "Connection retry"},
        {lblIP, "IP"},
        {lblPort, "Port"},
        {lblName, "Name"},
        {lblPassword, "Password"},
    });
    chkUpdate->setText(tr("Automatic update") + u' ' + tr("(hrs:min)"));
    grpConnectionSetting->setTitle(tr("Connection settings"));
    grpProxy->setTitle(tr("Proxy settings"));
}
