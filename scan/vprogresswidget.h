#pragma once

#include "engine/vardo.h"
#include "kit/roundedwindow.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QMovie>
#include <QWidget>

class QApplication;
class QGridLayout;
class QLabel;
class QSpacerItem;
class QTimer;
class QVBoxLayout;
class VLinkButton;
class VPushButton;
class VTextPane;

/// The window of one scan, and its driver.
///
/// Whoever starts a scan creates one, calls one of the Perform functions and deletes it. The engine runs on
/// the GUI thread: the window stays live because the result callback serves the events of the whole
/// program, so any slot can run while a scan is on the stack.
class VProgressWidget : public RoundedWindow<QWidget>
{
    Q_OBJECT

  public:
    /// `name` is the caption that the title shows; the object name is always "VProgressWidget".
    VProgressWidget(QWidget* parent, const char* name, Qt::WindowFlags f);
    ~VProgressWidget() override;

    /// Scans the objects that `scan` holds and tells the user how it went. Returns when all closing dialogs
    /// are gone: the engine's result, or -1 without arguments or when the last-scan file can't be written.
    int PerformScan(QApplication* a, Vardo* scan);
    /// Likewise for the running processes, without the statistics at the end. Also -1 when the engine's
    /// option can't be set.
    int PerformMemoryScan(QApplication* a, Vardo* scan);

    Vardo* vardo = nullptr; ///< The scanner, not owned.

  public slots:
    /// Asks a running scan to stop at the engine's next callback; closes the window otherwise.
    void stopScan();

  protected:
    void closeEvent(QCloseEvent* ce) override;
    bool event(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

    /// The QS_ResultCallBack of both scans; `cdata` is the window.
    static int scanCallBack(const char* objName, int objectType, int statusCode, const char* virus,
                            const char* remark, QS_ResultContextData* cdata);
    /// The QS_actionPromptCallBack: asks the user about one infected object.
    static int promptInfectedAction(const char* fname, char* actData);

    /// Writes the head of the log and fills the window's action row; with null the banner alone.
    void logScanConfiguration(Vardo* scan);
    void logScanStatistics(QS_InterfaceScanStatistics* stats);

    // Static, as the callbacks are plain functions.
    static bool cancelScan; ///< The user wants this window's scan to stop.
    static QApplication* qapp;

  protected slots:
    void slotScanTimer();
    void slotShowHideDetail();

  private:
    void buildTitle();
    void buildCentre();
    void buildCounter(int row, QLabel*& caption, QLabel*& value, const char* name);
    void buildControls();
    void connectWidgets();
    void languageChange();
    void init();
    void setHeight(int height, int yRnd);

    void open(QApplication* a, Vardo* scan);
    void start();
    void pause();
    void reportScan(int result);
    void reportMemoryScan(int result);
    void reportStatistics();
    int finish(int result);

    void showCounters();
    void showDirectory(const char* name);
    void showObject(const char* name, int type, int status, const char* virus, const char* remark);
    void showLine(const QByteArray& line);

  protected:
    unsigned char timerSeconds = 0;
    unsigned long progressCounter = 0; ///< Nothing uses it.
    bool scanRunning = false;          ///< A scan is under way, or its closing dialogs are open.
    unsigned char timerHours = 0;
    unsigned char timerMinutes = 0;
    QLabel* lblTimeElapsed = nullptr;
    QLabel* lblTime = nullptr;
    QLabel* lblProgress = nullptr;
    QLabel* lblLogo = nullptr;
    QLabel* lblTitle = nullptr;
    QLabel* lblDirScanCnt = nullptr;
    QLabel* lblDirScanCntValue = nullptr;
    QLabel* lblFileScanCnt = nullptr;
    QLabel* lblFileScanCntValue = nullptr;
    QLabel* lblVirusCnt = nullptr;
    QLabel* lblVirusCntValue = nullptr;
    QLabel* lblAction = nullptr;
    QLabel* lblActionValue = nullptr;
    VLinkButton* lnkDetail = nullptr;
    VPushButton* btnMinimize = nullptr;
    VPushButton* btnClose = nullptr;
    VPushButton* btnStop = nullptr;
    VTextPane* txtDetails = nullptr;
    QMovie movie;
    QTimer* elapsedTimer = nullptr;
    QVBoxLayout* mainLayout = nullptr;
    QGridLayout* centerLayout = nullptr;
    QGridLayout* titleLayout = nullptr;
    QSpacerItem* vSpacer = nullptr;
    QSpacerItem* hSpacer = nullptr;
    QSpacerItem* spacer = nullptr;

  private:
    QElapsedTimer lastPicture;  ///< Since the window was last painted.
    unsigned int unscanned = 0; ///< Objects of this scan that were not scanned wholly.
    QBasicTimer pictureTimer;   ///< Runs while a painting is put off.
};
