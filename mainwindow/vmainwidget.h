#pragma once

#include "kit/roundedwindow.h"

#include <QByteArray>
#include <QRegion>
#include <QString>
#include <QWidget>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QApplication;
class QButtonGroup;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSpacerItem;
class QSpinBox;
class QStackedWidget;
class QTimeEdit;
class QTimer;
class QTreeWidget;
class VCheckBox;
class VLinkButton;
class VProgressWidget;
class VPushButton;
class VRadioButton;
class Vardo;
class __VardoObject;
class vUpdate;

/// The one top-level window: a title area, three menu buttons and a stack of nine pages.
///
/// Every widget's object name is the name of its field. Each page has a source file of its own, which builds
/// the page and implements its slots. GUI thread only.
class VMainWidget : public RoundedWindow<QWidget>
{
    Q_OBJECT

  public:
    /// The pages of wgtstkMain, by their index in it.
    enum Page {
        ScanPage,
        UpdatePage,
        SchedulerPage,
        HelpPage,
        ScanSettingPage,
        UpdateLogPage,
        ScanLogPage,
        UpdateSettingPage,
        QuarantinePage,
        PageCount,
    };

    /// What has been modified and not saved. The later kind of change replaces the earlier.
    enum Modified : char { NothingModified, ScanSettingsModified, UpdateSettingsModified };

    VMainWidget(QWidget* parent, const char* name, Qt::WindowFlags flags);
    ~VMainWidget() override;

    /// Hands over the application, the path of the scan configuration, which is copied, and the engine. The
    /// application and the engine stay the caller's and must outlive the window.
    void setValues(QApplication* app, const char* conf, Vardo* engine);

  public slots:
    /// Shapes the window and keeps the shape, which the close effect eats into.
    void makeWidgetRound(int xRnd, int yRnd) override;
    /// Rounds the top corners of the page title. Both radii are percentages of its width.
    void makeMenuLabelRound(int xRnd, int yRnd);
    void languageChange();

    // Navigation
    /// Goes to a main page, after the question about unsaved settings.
    void changeSelectionMenuText(int id);
    void showHelpMenu();
    void scanValueChanged();
    void updateValueChanged();
    void slotScanValueChanged();
    void slotUpdateValueChanged();

    // Title area and help page
    /// Shows the product line and the date of the signatures as they are now.
    void showStatus();
    void showWiki();
    void showOnlineChat();
    void showForum();
    void showFeedback();

    // Scan page
    void slotScanSelected();
    void slotScanMemory();
    void slotScanHome();
    void slotScanEntire();
    void slotFullScan();

    // Scan settings page
    void showScanSetting();
    /// True when the configuration was saved, or when there is no engine to save it.
    bool slotSaveScanSettings();
    void loadGlobalSettings();
    void slotBrowseLogLocation();
    /// Leaves a settings page or the quarantine page for the main page it belongs to.
    void slotCancelSetting();

    // Update settings page
    void showUpdateSetting();
    /// False when the input was refused or the update configuration was not saved.
    bool slotSaveUpdateSettings();
    void slotChkDefAlert(int state);
    void slotChkUpdate(int state);
    void slotChkProxyAuth(int state);
    void slotChkProxy(int state);

    // Log pages
    void showScanLog();
    void showUpdateLog();
    /// Lists the scan logs, the newest first.
    void readLogDir();
    void readUpdateLogEntry();
    void slotScanLogSelection();
    void slotUpdateLogSelection();
    void slotViewScanLogs();
    void slotViewUpdateLogs();
    void slotDeleteScanLogs();
    void slotDeleteAllScanLogs();
    void slotDeleteUpdateLogs();
    void slotDeleteAllUpdateLogs();

    // Quarantine page
    void showQuarantine();
    /// Lists the records of the quarantine and drops those whose files are gone.
    void readQuarantineDir();
    void slotQuarSelection();
    void slotDeleteQuarantine();
    void slotDeleteAllQuarantine();
    void openQuarPath();

    // Close sequence
    /// Cuts the next wedge out of the visible shape.
    void calculateRegion();

  public:
    /// Four numbers with dots. A bad fifth one passes too.
    static bool isValid_IP(const char* text);
    static bool isValidPort(const char* text);
    /// Whether `text` can be the name of a proxy's user.
    static bool isValidProxyAuth(const char* text);

  signals:
    void scanSettingsModified();
    void updateSettingsModified();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    // Construction, in this order.
    void buildFrame();
    void buildTitleArea();
    void buildMenu();
    void buildPages();
    void buildScanPage(QWidget* page);
    void buildUpdatePage(QWidget* page);
    void buildSchedulerPage(QWidget* page);
    void buildHelpPage(QWidget* page);
    void buildScanSettingPage(QWidget* page);
    QWidget* buildScanObjectGroup(QWidget* page);
    QWidget* buildLogGroup(QWidget* page);
    void buildUpdateLogPage(QWidget* page);
    void buildScanLogPage(QWidget* page);
    void buildUpdateSettingPage(QWidget* page);
    QWidget* buildConnectionGroup(QWidget* page);
    QWidget* buildProxyGroup(QWidget* page);
    void buildProxyAuthGroup(QWidget* group);
    void buildQuarantinePage(QWidget* page);
    void frameTexts();
    void mainPageTexts();
    void listPageTexts();
    void scanSettingTexts();
    void updateSettingTexts();
    void connectWidgets();
    void connectClicks();
    void connectChanges();
    void init();
    void applyPrivileges();
    /// What cannot be used in this version: these widgets are disabled.
    std::vector<QWidget*> notYetAvailable() const;

    // Navigation
    /// Asks whether modified settings are to be saved, if there are any. False when the user wanted that and
    /// it failed: the page must stay.
    bool settleSettings();
    void releaseMenuButton();
    void showTitle(Page page);
    void showUpdateRunMode();
    /// False, with the page left as it is, when no scan has been recorded yet.
    bool showLastScan();
    /// Tells the user when the installation cannot be used.
    bool installationUsable();

    // Scan launch
    using Perform = int (VProgressWidget::*)(QApplication*, Vardo*);
    /// When a launcher reads the configuration again, which drops its own option bits.
    enum class RestoreOptions { Never, BeforeWindowGoes, AtEnd };
    /// Runs a scan in a progress window from its preparation to the refreshed scan page.
    void runScan(const QString& caption, Perform perform, RestoreOptions restore);
    /// Lets the user choose in the tree. The list is the caller's to end with ClearList; null when the user
    /// left without a choice.
    __VardoObject* selectObjects();

    // Title area and help page
    /// Opens `url` in the first browser of the configuration that starts. Returns 0, or -1 if none did.
    int showBrowser(const char* url);
    void openPage(const char* url);

    // Scan settings page
    struct ScanFlagBox;
    std::array<ScanFlagBox, 7> scanFlagBoxes() const;
    /// Fills the page from the configuration file; leaves it as it is when that cannot be read.
    void setOptions();
    void showLogOptions();
    void takeScanOptions();
    void takeLogOptions();

    // Update settings page
    vUpdate& updateEngine();
    /// Fills the page from the configuration files; leaves it as it is when they cannot be read.
    void setUpdateSettings();
    void showConnectionSettings();
    void showProxySettings(unsigned char useProxy);
    void showTimeSettings();
    bool updateSettingsValid();
    void takeConnectionSettings();
    void takeAlertSettings();

    // Log pages
    /// The directory of the scan logs as the engine gives it now; nothing when it does not.
    std::optional<std::string> scanLogLocation();
    void showLogPage(Page page, void (VMainWidget::*read)());
    /// Runs the viewer on what VShowLogDialog::showLogs takes.
    template <class Log>
    void viewLog(Log log);
    void deleteScanLogs(const QString& question, bool selectedOnly);
    void deleteUpdateLog(const QString& question);
    /// Hands `permitted` back, after a notice when it is false.
    bool mayDeleteLogs(bool permitted);
    bool wantsDeleted(const QString& question);

    // Close sequence
    void beforeShutdownEffect();

    // State
    char settingsChanged = NothingModified;
    std::optional<std::string> scannerConf; ///< path of the scan configuration
    bool scanInProgress = false;
    bool updateInProgress = false;
    std::unique_ptr<vUpdate> vupdate; ///< made on first need
    Vardo* scanner = nullptr;
    QApplication* qapp = nullptr;
    QByteArray logLocation; ///< the directory of the scan logs as the engine gave it
    QRegion rgnVisible;     ///< what the close effect has left of the window
    int sweepAngle = 30;    ///< degrees that the next step of the close effect cuts away
    QTimer* tmrCloseEffect = nullptr;
    QTimer* tmrClose = nullptr;
    bool signalClose = false; ///< the next close request is accepted

    // Frame
    QLabel* lblVardoLogo = nullptr;
    QWidget* topWidget = nullptr;
    QButtonGroup* btngrpMenu = nullptr;
    QLabel* lblSelectedMenu = nullptr;
    QStackedWidget* wgtstkMain = nullptr;
    VPushButton* btnScan = nullptr;
    VPushButton* btnUpdate = nullptr;
    VPushButton* btnScheduler = nullptr;

    // Title area
    VLinkButton* lnkFeedback = nullptr;
    QLabel* lblSeperator = nullptr;
    VLinkButton* lnkHelp = nullptr;
    VPushButton* btnMinimize = nullptr;
    VPushButton* btnClose = nullptr;
    QLabel* lblProductName = nullptr;
    QLabel* lblUpdateDate = nullptr;
    VLinkButton* lnkUpdateNow = nullptr;
    QLabel* lblLastScan = nullptr;
    VLinkButton* lnkLastScan = nullptr;

    // Scan page
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

    // Update page
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

    // Scheduler page
    QWidget* wgtstkScheduler = nullptr;
    QTreeWidget* lstSchedule = nullptr;
    QLabel* lblScheduleWarning = nullptr;
    VPushButton* btnAddJob = nullptr;
    VPushButton* btnEditSchedule = nullptr;
    VPushButton* btnDeleteSchedule = nullptr;
    VPushButton* btnPurgeSchedule = nullptr;

    // Help page
    QWidget* wgtstkHelp = nullptr;
    VLinkButton* lnkLiveChat = nullptr;
    QLabel* lblLiveChat = nullptr;
    VLinkButton* lnkOnlineHelp = nullptr;
    QLabel* lblVardoOnline = nullptr;
    VLinkButton* lnkForum = nullptr;
    QLabel* lblForum = nullptr;

    // Scan settings page
    QWidget* wgtstkScanSetting = nullptr;
    QLabel* lblInfectedAction = nullptr;
    QComboBox* cmbScanAction = nullptr;
    QGroupBox* grpSettings = nullptr;
    VCheckBox* chkRecursive = nullptr;
    VCheckBox* chkMail = nullptr;
    VCheckBox* chkHeuristic = nullptr;
    VCheckBox* chkCrossFS = nullptr;
    VCheckBox* chkArchive = nullptr;
    VCheckBox* chkPack = nullptr;
    VCheckBox* chkSymLink = nullptr;
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

    // Log pages
    QWidget* wgtstkUpdateLog = nullptr;
    QTreeWidget* lstUpdateLogs = nullptr;
    QSpacerItem* updateLogSpacer = nullptr;
    VPushButton* btnViewUpdateLog = nullptr;
    VPushButton* btnDeleteUpdateLog = nullptr;
    VPushButton* btnDeleteUpdateLogs = nullptr;
    QWidget* wgtstkScanLog = nullptr;
    QTreeWidget* lstScanLogs = nullptr;
    QSpacerItem* scanLogSpacer = nullptr;
    VPushButton* btnViewScanLog = nullptr;
    VPushButton* btnDeleteScanLog = nullptr;
    VPushButton* btnDeleteScanLogs = nullptr;

    // Update settings page
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

    // Quarantine page
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
