#pragma once

#include "engine/interface.h"
#include "kit/dialogwindow.h"

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QSpacerItem;
class QVBoxLayout;

/// Shows the engine's counters at the end of a file scan.
class VScanStatisticsDialog : public DialogWindow
{
    Q_OBJECT

  public:
    VScanStatisticsDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags f);

    /// Fills in the counters, or zeros for null, and runs the dialog until the user closes it.
    void showScanStatistics(QS_InterfaceScanStatistics* stats);

  private:
    struct Counter;
    static const Counter counters[];

    void buildTitle();
    void buildCounters();
    void languageChange();
    void init();

    QLabel* lblDirs = nullptr;
    QLabel* lblDirsValue = nullptr;
    QLabel* lblObjs = nullptr;
    QLabel* lblObjsValue = nullptr;
    QLabel* lblInfected = nullptr;
    QLabel* lblInfectedValue = nullptr;
    QLabel* lblSuspicious = nullptr;
    QLabel* lblSuspiciousValue = nullptr;
    QLabel* lblCured = nullptr;
    QLabel* lblCuredValue = nullptr;
    QLabel* lblCureFailed = nullptr;
    QLabel* lblCureFailedValue = nullptr;
    QLabel* lblViruses = nullptr;
    QLabel* lblVirusesValue = nullptr;
    QLabel* lblActionErrors = nullptr;
    QLabel* lblActionErrorsValue = nullptr;
    QLabel* lblEncrypted = nullptr;
    QLabel* lblEncryptedValue = nullptr;
    QLabel* lblQuarantined = nullptr;
    QLabel* lblQuarantinedValue = nullptr;
    QLabel* lblRenamed = nullptr;
    QLabel* lblRenamedValue = nullptr;
    QLabel* lblDeleted = nullptr;
    QLabel* lblDeletedValue = nullptr;
    QHBoxLayout* titleLayout = nullptr;
    QVBoxLayout* mainLayout = nullptr;
    QGridLayout* statLayout = nullptr;
    QSpacerItem* titleSpacer = nullptr;
    VPushButton* btnOk = nullptr;
};
