#pragma once

#include "engine/vardo.h"
#include "kit/dialogwindow.h"

#include <QMovie>
#include <QString>
#include <QThread>

class QGridLayout;
class QLabel;
class QVBoxLayout;
class VMemScanDialog;

/// What the worker works with; nothing is owned, and all of it outlives the worker.
struct __ThreadDataType
{
    const char* qsavConf; ///< Path of the anti-virus configuration.
    Vardo* scanner;
    VMemScanDialog* form;
};
typedef struct __ThreadDataType ThreadDataType;

/// What the engine's callback gets.
struct __ContextDataType
{
    QLabel* lblMem; ///< Not for the worker to touch.
};
typedef struct __ContextDataType ContextDataType;

/// Loads the engine and, if the user wants that at start-up, scans the running processes.
///
/// It touches no widget: what the user sees follows its signals, which the dialog receives queued and in
/// their order.
class memScanThread : public QThread
{
    Q_OBJECT

  public:
    explicit memScanThread(ThreadDataType data);

  signals:
    void statusChanged(const QString& text);
    void scanStarted();
    void scanFinished();
    /// The last one: nothing is left to do.
    void workDone();

  protected:
    void run() override;

  private:
    bool loadEngine();
    bool scanWanted();

    ThreadDataType cData;
};

/// The small window shown while the engine is loaded and the running processes are scanned. It can't be
/// closed by hand before that is over.
class VMemScanDialog : public DialogWindow
{
    Q_OBJECT

  public:
    VMemScanDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags f);
    /// Waits for the worker.
    ~VMemScanDialog() override;

    /// Starts the worker; exec() then returns when it is done. Neither argument is owned.
    void ScanMemory(const char* qsavConf, Vardo* scanner);

    void reject() override;

  public slots:
    /// Asks a running memory scan to stop at the engine's next callback.
    void stopScan();

  protected:
    void closeEvent(QCloseEvent* ce) override;

  private:
    friend class memScanThread;
    static int MemScanCallBack(const char* objName, int objectType, int statusCode, const char* virus,
                               const char* remark, QS_ResultContextData* cdata);

    void build();
    void languageChange();
    void init();
    void showScanStarted();
    void showScanFinished();

    QLabel* lblProgress = nullptr;
    QLabel* lblAVInit = nullptr;
    VPushButton* btnStop = nullptr;
    QMovie movie;
    memScanThread* t = nullptr;
    QGridLayout* scanLayout = nullptr;
    QVBoxLayout* mainLayout = nullptr;
};

/// Brings the engine up behind that window: 0 when it is loaded, else -1. GUI thread, before any other use of
/// the engine.
int ScanMemory(const char* qsavConf, Vardo* vardo);
