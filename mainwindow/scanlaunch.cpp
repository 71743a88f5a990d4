#include "mainwindow/vmainwidget.h"

#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/placement.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "scan/vprogresswidget.h"
#include "schedule/vobjectselectiondialog.h"

#include <memory>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

namespace {

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

void VMainWidget::runScan(const QString& caption, Perform perform, RestoreOptions restore)
{
    scanInProgress = true;
    auto window = std::make_unique<VProgressWidget>(nullptr, caption.toUtf8().constData(), FRAMELESS_FLAGS);
    centreOn(*window, *this);
    scanner->ResetResult();
    ((*window).*perform)(qapp, scanner);
    if (restore == RestoreOptions::BeforeWindowGoes)
        scanner->ReadConfiguration(nullptr);
    window.reset();
    scanInProgress = false;
    if (restore == RestoreOptions::AtEnd)
        scanner->ReadConfiguration(nullptr);
    btnScan->animateClick();
}

VardoObject* VMainWidget::selectObjects()
{
    VardoObject* chosen = nullptr;
    VObjectSelectionDialog dialog(this, nullptr, true, FRAMELESS_FLAGS);
    centreOn(dialog, *this);
    dialog.setReturnObjectPtr(&chosen);
    dialog.exec();
    return chosen;
}

void VMainWidget::slotScanSelected()
{
    if (scanInProgress)
        return;
    scanner->ClearObjects();
    VardoObject* chosen = selectObjects();
    if (!chosen)
        return;
    // When this fails the scan runs all the same, over what the engine then holds.
    if (scanner->SetObjectList(chosen) < 0)
        vMessage(this, tr("Error! Try again"), VMessageBox::Critical, okDefault);
    chosen->ClearList();
    runScan(tr("Scan progress for selected objects"), &VProgressWidget::PerformScan,
            RestoreOptions::BeforeWindowGoes);
}

void VMainWidget::slotScanMemory()
{
    if (scanInProgress)
        return;
    scanner->ClearObjects();
    // The driver restores the one option that it changes.
    runScan(tr("Scan progress for memory"), &VProgressWidget::PerformMemoryScan, RestoreOptions::Never);
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
    runScan(tr("Scan progress for home directories"), &VProgressWidget::PerformScan, RestoreOptions::AtEnd);
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
    runScan(tr("Scan progress for computer"), &VProgressWidget::PerformScan, RestoreOptions::AtEnd);
}

void VMainWidget::slotFullScan()
{
    const int answer = vMessage(this, tr("Do you want to run a full system check for viruses now?"),
                                VMessageBox::Question, yesDefault, VMessageBox::BTN_NO);
    if (answer == VMessageBox::BTN_YES)
        slotScanEntire();
}
