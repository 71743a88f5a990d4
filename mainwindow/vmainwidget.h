#pragma once

#include "kit/roundedwindow.h"
#include "mainwindow/helppage.h"
#include "mainwindow/logpages.h"
#include "mainwindow/pagelist.h"
#include "mainwindow/quarantinepage.h"
#include "mainwindow/scanpage.h"
#include "mainwindow/scansettingpage.h"
#include "mainwindow/schedulerpage.h"
#include "mainwindow/titlearea.h"
#include "mainwindow/updatepage.h"
#include "mainwindow/updatesettingpage.h"

#include <QRegion>
#include <QString>
#include <QWidget>

#include <memory>
#include <optional>
#include <string>

class QApplication;
class QButtonGroup;
class QLabel;
class QStackedWidget;
class QTimer;
class RestoreRun;
class VProgressWidget;
class VPushButton;
class Vardo;
class __VardoObject;
class vUpdate;

using MainPages = PageList<pages::Scan, pages::Update, pages::Scheduler, pages::Help, pages::ScanSetting,
                           pages::UpdateLog, pages::ScanLog, pages::UpdateSetting, pages::Quarantine>;

/// The one top-level window: a title area, three menu buttons and a stack of nine pages.
///
/// Every widget's object name is the name of its field. The widgets of a page are fields that the window
/// inherits from the page, whose source file also implements the page's slots. GUI thread only.
class VMainWidget : public RoundedWindow<QWidget>, private TitleArea, private MainPages
{
    Q_OBJECT

  public:
    /// The pages of wgtstkMain, by their index in it: the order of MainPages.
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
    static_assert(PageCount == MainPages::pageCount);

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
    /// Leaves a settings page or the quarantine page for the main page it belongs to.
    void slotCancelSetting();
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

    // Scheduler page
    /// Lists the jobs of the schedule store as they are now.
    void displayScheduleList();
    void slotScheduleSelection();
    void slotAddJob();
    void slotEditSchedule();
    void slotDeleteSchedule();
    /// Removes the jobs that are over.
    void slotPurgeJobs();

    // Scan settings page
    void showScanSetting();
    /// True when the configuration was saved, or when there is no engine to save it.
    bool slotSaveScanSettings();
    void loadGlobalSettings();
    void slotBrowseLogLocation();

    // Update page
    /// Updates the signatures, after a question; tells who is not root that he may not.
    void showUpdateDialog();
    /// Updates the signatures and tells how that ended. Does nothing during a scan.
    void slotUpdateNow();

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
    /// Shows the menu of the selected files at a place in the list.
    void showQuarantineMenu(const QPoint& place);
    /// Puts the selected files back where they were, meanwhile, and tells how that went.
    void slotRestoreQuarantine();
    void slotRestored();
    void slotCopyQuarantineName();
    void slotShowQuarantineOrigin();

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
    // Construction, in this order
    void buildFrame();
    void buildMenu();
    void buildPages();
    void connectWidgets();
    void init();

    // Navigation
    /// Asks whether modified settings are to be saved, if there are any. False when the user wanted that and
    /// it failed: the page must stay.
    bool settleSettings();
    /// Brings up a page that no menu button stands for.
    void showSubPage(Page page);
    void showTitle(Page page);
    void showUpdateRunMode();
    /// False, with the page left as it is, when no scan has been recorded yet.
    bool showLastScan();
    /// Tells the user when the installation cannot be used.
    bool installationUsable();

    // Scan page
    using Perform = int (VProgressWidget::*)(QApplication*, Vardo*);
    /// When a launcher reads the configuration again, which drops its own option bits.
    enum class RestoreOptions { Never, BeforeWindowGoes, AtEnd };
    /// Runs a scan in a progress window from its preparation to the refreshed scan page.
    void runScan(const QString& caption, Perform perform, RestoreOptions restore);
    /// Lets the user choose in the tree. The list is the caller's to end with ClearList; null when the user
    /// left without a choice.
    __VardoObject* selectObjects();

    // Scheduler page
    /// Runs the editor, on the job of that name or without one on a new job.
    void editJob(const char* name);

    // Title area and help page
    /// Opens `url` in the first browser of the configuration that starts. Returns 0, or -1 if none did.
    int showBrowser(const char* url);
    void openPage(const char* url);

    // Settings pages
    /// Fills the page from the configuration file; leaves it as it is when that cannot be read.
    void setOptions();
    vUpdate& updateEngine();
    /// Likewise from both configuration files.
    void setUpdateSettings();
    /// Writes both configuration files and sets up cron, with a message. False when that of the update
    /// failed.
    bool storeUpdateSettings();

    // Log pages
    /// The directory of the scan logs as the engine gives it now; nothing when it does not.
    std::optional<std::string> scanLogLocation();
    /// Runs the viewer on what VShowLogDialog::showLogs takes.
    template <class Log>
    void viewLog(Log log);
    void deleteScanLogs(const QString& question, bool selectedOnly);
    void deleteUpdateLog(const QString& question);
    /// Hands `permitted` back, after a notice when it is false.
    bool mayDeleteLogs(bool permitted);

    // Close sequence
    void beforeShutdownEffect();

    // State
    char settingsChanged = NothingModified;
    std::optional<std::string> scannerConf; ///< path of the scan configuration
    bool scanInProgress = false;
    bool updateInProgress = false;
    std::unique_ptr<vUpdate> vupdate;       ///< made on first need
    std::unique_ptr<RestoreRun> restoreRun; ///< while files are put back
    Vardo* scanner = nullptr;
    QApplication* qapp = nullptr;
    QRegion rgnVisible;  ///< what the close effect has left of the window
    int sweepAngle = 30; ///< degrees that the next step of the close effect cuts away
    QTimer* tmrCloseEffect = nullptr;
    QTimer* tmrClose = nullptr;
    bool signalClose = false; ///< the next close request is accepted

    // Frame
    QLabel* lblVardoLogo = nullptr;
    QButtonGroup* btngrpMenu = nullptr;
    QLabel* lblSelectedMenu = nullptr;
    QStackedWidget* wgtstkMain = nullptr;
    VPushButton* btnScan = nullptr;
    VPushButton* btnUpdate = nullptr;
    VPushButton* btnScheduler = nullptr;
};
