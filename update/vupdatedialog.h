#pragma once

#include "engine/avupdate.h"
#include "kit/dialogwindow.h"

#include <QThread>

#include <functional>
#include <optional>

class QGridLayout;
class QLabel;
class QProgressBar;
class QSpacerItem;
class QVBoxLayout;
class VLinkButton;
class VPushButton;
class VTextPane;

/// Runs the engine's update and reports its end to VUpdateDialog::updateFinish.
class updateThread : public QThread
{
    Q_OBJECT

  public:
    updateThread(AVUpdateCallBack callback, AVUpdateContextData context);

  protected:
    void run() override;

  private:
    AVUpdateCallBack updateCallBack;
    AVUpdateContextData updateContextData;
};

/// Shows one run of the engine's update, which starts with the dialog's construction and whose result exec()
/// returns.
///
/// The worker touches no widget: what it has to show, its end included, comes to the GUI thread as queued
/// events, in order.
class VUpdateDialog : public DialogWindow
{
    Q_OBJECT

  public:
    /// What the dialog adds to the results of vUpdate::DoUpdate.
    enum Result {
        NoConfiguration = 100, ///< it could not be read, so nothing was started
        Thrown = 111,          ///< the engine threw a text
        Failed = 200, ///< the engine reported a failure by its callback, in this run or an earlier one
    };

    VUpdateDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags);
    /// Waits until the engine has let go of the worker, and paints meanwhile.
    ~VUpdateDialog() override;

    /// Returns at once when the run has already ended.
    int exec() override;

    /// Ends the run of the dialog `context` with `code`. Any thread.
    static void updateFinish(int code, AVUpdateContextData context);

  public slots:
    void slotShowDetails();
    void slotUpdate();
    /// Asks whether the update is to be stopped, and stops it.
    void slotClosed();

  protected slots:
    void slotFinish(int code);
    void languageChange();

  signals:
    void signalFinish(int code);

  private:
    static int UpdateCallBack(int code, const char* text, long long first, long long second, void* context);

    void buildTitle();
    void buildCentre();
    void init();
    /// Lets the GUI thread do `show`, behind all that was handed over before. Any thread.
    void later(std::function<void()> show);
    void showProgress(long long total, long long done);

    VLinkButton* lnkShow = nullptr;
    VPushButton* btnStop = nullptr;
    VTextPane* txtUpdateDetails = nullptr;
    QProgressBar* dlProgress = nullptr;
    QLabel* lblByteProgress = nullptr;
    QLabel* lblServer = nullptr;
    updateThread* t = nullptr;
    QSpacerItem* spacer = nullptr;
    QVBoxLayout* mainLayout = nullptr;
    QGridLayout* centerLayout = nullptr;
    QGridLayout* titleLayout = nullptr;
    QSpacerItem* vSpacer = nullptr;
    QSpacerItem* hSpacer = nullptr;
    QSpacerItem* mainSpacer = nullptr;
    std::optional<int> finished; ///< the code that the run ended with
};
