#include "mainwindow/vmainwidget.h"

#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "scan/placement.h"
#include "scan/vprogresswidget.h"

#include <memory>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

namespace {

constexpr int okDefault = VMessageBox::BTN_OK | VMessageBox::BTN_DEFAULT;
constexpr int yesDefault = VMessageBox::BTN_YES | VMessageBox::BTN_DEFAULT;

/// The home directory of whoever runs the program; null when there is none of their own.
const char* homeDirectory()
{
    const passwd* entry = ::getpwuid(::getuid());
    if (!entry || !entry->pw_dir)
        return nullptr;
    const std::string_view home = entry->pw_dir;
    return home.empty() || home == "/" ? nullptr : entry->pw_dir;
}

} // namespace

void VMainWidget::runScan(const QString& caption, Perform perform, bool restoreOptions)
{
    scanInProgress = true;
    auto window = std::make_unique<VProgressWidget>(nullptr, caption.toUtf8().constData(), FRAMELESS_FLAGS);
    centreOn(*window, *this);
    scanner->ResetResult();
    ((*window).*perform)(qapp, scanner);
    window.reset();
    scanInProgress = false;
    if (restoreOptions)
        scanner->ReadConfiguration(nullptr);
    btnScan->animateClick();
}

void VMainWidget::slotScanMemory()
{
    if (scanInProgress)
        return;
    scanner->ClearObjects();
    // The driver restores the one option that it changes.
    runScan(tr("Scan progress for memory"), &VProgressWidget::PerformMemoryScan, false);
}

void VMainWidget::slotScanHome()
{
    if (scanInProgress)
        return;
    const char* home = homeDirectory();
    if (!home) {
        vMessage(this, tr("Missing home directory for user!"), VMessageBox::Critical, okDefault);
        return;
    }
    scanner->ClearObjects();
    if (scanner->AddObject(home) < 0) {
        vMessage(this, tr("Error! Try again"), VMessageBox::Critical, okDefault);
        return;
    }
    scanner->UnsetScanOption(SCANFLAG_FOLLOW_SYMLINKS);
    runScan(tr("Scan progress for home directories"), &VProgressWidget::PerformScan, true);
}

void VMainWidget::slotScanEntire()
{
    if (scanInProgress)
        return;
    scanner->ClearObjects();
    if (scanner->AddObject("/") < 0)
        vMessage(this, tr("Error! Try again"), VMessageBox::Critical, okDefault);
    scanner->UnsetScanOption(SCANFLAG_FOLLOW_SYMLINKS);
    scanner->SetScanOption(SCANFLAG_CROSS_FS);
    runScan(tr("Scan progress for computer"), &VProgressWidget::PerformScan, true);
}

void VMainWidget::slotFullScan()
{
    const int answer = vMessage(this, tr("Do you want to run a full system check for viruses now?"),
                                VMessageBox::Question, yesDefault, VMessageBox::BTN_NO);
    if (answer == VMessageBox::BTN_YES)
        slotScanEntire();
}
