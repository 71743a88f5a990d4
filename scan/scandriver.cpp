#include "scan/vprogresswidget.h"

#include "base/paths.h"
#include "installation/lastscan.h"
#include "kit/placement.h"
#include "kit/visibletext.h"
#include "kit/vmessagebox.h"
#include "loglayout/scanlog.h"
#include "scan/actiondata.h"
#include "scan/unscanned.h"
#include "scan/vscanstatisticsdialog.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QLabel>
#include <QThread>
#include <QTimer>
#include <QWindow>

#include <array>
#include <memory>

namespace {

/// The words of the window, by SCANACT_ code. Those of the log differ.
constexpr std::array actionNames = {"Log", "Delete", "Rename", "Quarantine", "Prompt"};

/// Serves events until the window is on the screen: some window managers need longer than one turn.
void waitForExposure(const QWidget& window)
{
    const QDeadlineTimer deadline(200);
    QApplication::processEvents();
    while (window.isVisible() && !window.windowHandle()->isExposed() && !deadline.hasExpired()) {
        QThread::msleep(1);
        QApplication::processEvents();
    }
}

} // namespace

int VProgressWidget::PerformScan(QApplication* a, Vardo* scan)
{
    if (!a || !scan)
        return -1;
    open(a, scan);
    start();
    logScanConfiguration(scan);
    const int ret = scan->DoScan(scanCallBack, this, promptInfectedAction);
    pause();
    reportScan(ret);
    return finish(ret);
}

int VProgressWidget::PerformMemoryScan(QApplication* a, Vardo* scan)
{
    if (!a || !scan)
        return -1;
    open(a, scan);
    unsigned char saved = 0, one = 1;
    if (scan->GetOption(SCANOPT_MEMSCAN, &saved) < 0 || scan->SetOption(SCANOPT_MEMSCAN, &one) < 0) {
        vMessage(this, tr("Error Occured."), VMessageBox::Warning, VMessageBox::BTN_OK);
        return -1;
    }
    start();
    logScanConfiguration(nullptr);
    scanlog::writeLine(scanlog::memoryScanStarted);
    const int ret = scan->DoMemoryScan(scanCallBack, this, true);
    scan->SetOption(SCANOPT_MEMSCAN, &saved);
    pause();
    reportMemoryScan(ret);
    return finish(ret);
}

void VProgressWidget::open(QApplication* a, Vardo* scan)
{
    vardo = scan;
    qapp = a;
    show();
    waitForExposure(*this);
    // Who has left the window by now wants no scan, and could not stop it any more.
    if (!isVisible())
        cancelScan = true;
}

void VProgressWidget::start()
{
    elapsedTimer->start(1000);
    movie.setPaused(false);
    vardo->SetActionData(paths::quarantine, renameExtension, false);
    scanRunning = true;
    unscanned = 0;
    vardo->LogInit(nullptr, -1);
}

void VProgressWidget::pause()
{
    elapsedTimer->stop();
    movie.setPaused(true);
    tellUnscanned(unscanned);
}

void VProgressWidget::reportScan(int result)
{
    if (result < 0) {
        const QByteArray text = tr(scanlog::scanError).toUtf8() + vardo->ScanError();
        vMessage(this, shownText(text), VMessageBox::Warning, VMessageBox::BTN_OK);
        scanlog::writeLine(text.constData());
    } else if (result == SCANRESULT_CANCELLED) {
        vMessage(this, tr(scanlog::cancelled), VMessageBox::Information, VMessageBox::BTN_OK);
        scanlog::writeLine(scanlog::cancelled);
    } else {
        reportStatistics();
    }
}

void VProgressWidget::reportStatistics()
{
    QS_InterfaceScanStatistics* stats = vardo->GetStatistics();
    if (!stats) {
        vMessage(this, tr("Error! Can not get scan statistics"), VMessageBox::Warning, VMessageBox::BTN_OK);
        return;
    }
    showCounters();
    const auto dialog = std::make_unique<VScanStatisticsDialog>(this, nullptr, true, FRAMELESS_FLAGS);
    logScanStatistics(stats);
    centreOn(*dialog, *this);
    dialog->showScanStatistics(stats);
}

void VProgressWidget::reportMemoryScan(int result)
{
    QByteArray text = tr(scanlog::memoryScanDone).toUtf8();
    if (result < 0)
        text = QByteArray(scanlog::memoryScanError) + vardo->ScanError();
    else if (result == SCANRESULT_CANCELLED)
        text = tr(scanlog::cancelled).toUtf8();
    scanlog::writeLine(text.constData());
    vMessage(this, shownText(text), result < 0 ? VMessageBox::Warning : VMessageBox::Information,
             VMessageBox::BTN_OK);
}

int VProgressWidget::finish(int result)
{
    scanRunning = false;
    CloseLog();
    if (!writeLastScan())
        return -1;
    qapp = nullptr;
    return result;
}

void VProgressWidget::logScanConfiguration(Vardo* scan)
{
    scanlog::writeBanner();
    if (!scan)
        return;
    const auto configuration = scanlog::readConfiguration(*scan);
    if (!configuration)
        return;
    QString action;
    if (configuration->scanOpts & SCANFLAG_DISINFECT)
        action = tr("Disinfect") + QLatin1Char('/');
    if (configuration->action < actionNames.size())
        action += tr(actionNames[configuration->action]);
    lblAction->setText(QStringLiteral("<b>") + tr("Action") + QStringLiteral("</b>"));
    lblActionValue->setText(action);
    scanlog::writeConfiguration(*configuration);
}

void VProgressWidget::logScanStatistics(QS_InterfaceScanStatistics* stats)
{
    if (stats)
        scanlog::writeStatistics(*stats);
}
