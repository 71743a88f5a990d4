#include "mainwindow/scanpage.h"

#include "engine/vardo.h"
#include "kit/builders.h"
#include "kit/framelessflags.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/placement.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/vmainwidget.h"
#include "scan/vprogresswidget.h"
#include "schedule/vobjectselectiondialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

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

void pages::Scan::buildOn(QWidget* page)
{
    wgtstkScan = page;
    constexpr QSize iconSize(50, 50);
    lnkSelect = build::pictureLink(page, "lnkSelect", "file_folder_scan.png", iconSize);
    lnkScanHome = build::pictureLink(page, "lnkScanHome", "home_scan.png", iconSize);
    lnkScanEntire = build::pictureLink(page, "lnkScanEntire", "computer_scan.png", iconSize);
    lnkScanMem = build::pictureLink(page, "lnkScanMem", "process_scan3.png", iconSize);
    lblLine = plainLabel(page, "lblLine");
    lblLine->setPixmap(vardoPixmap(QStringLiteral("line.png")));
    lnkScanSetting = build::link(page, "lnkScanSetting");
    lblSeperator_2 = build::separator(page, "lblSeperator_2");
    lnkViewScanLog = build::link(page, "lnkViewScanLog");
    lblSeperator_24 = build::separator(page, "lblSeperator_24");
    lnkQuarantine = build::link(page, "lnkQuarantine");

    auto* rows = build::layout<QVBoxLayout>(20, 6, page);
    for (QWidget* widget :
         std::initializer_list<QWidget*>{lnkSelect, lnkScanHome, lnkScanEntire, lnkScanMem, lblLine})
        rows->addWidget(widget);
    rows->addLayout(build::row(
        6, {lnkScanSetting, lblSeperator_2, lnkViewScanLog, lblSeperator_24, lnkQuarantine, nullptr}));
}

void pages::Scan::languageChange()
{
    setTexts(VMainWidget::tr,
             {
                 {lnkSelect, "Custom Scan", "Scan the selected files and directories", "Alt+C"},
                 {lnkScanHome, "Scan home directories", "Scan the home directory of current user", "Alt+H"},
                 {lnkScanEntire, "Scan My Computer", "Scan the entire computer", "Alt+M"},
                 {lnkScanMem, "Scan memory", "Scan the running process in memory", "Alt+P"},
                 {lnkScanSetting, "Options", "Click to view and change scan setting", "Alt+O"},
                 {lblSeperator_2, "|"},
                 {lnkViewScanLog, "Logs", "Click to view scan report", "Alt+L"},
                 {lblSeperator_24, "|"},
                 {lnkQuarantine, "Quarantined", "Shows quarantined files", "Alt+Q"},
             });
}

void pages::Scan::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {lnkSelect, &VMainWidget::slotScanSelected},
                              {lnkScanHome, &VMainWidget::slotScanHome},
                              {lnkScanEntire, &VMainWidget::slotScanEntire},
                              {lnkScanMem, &VMainWidget::slotScanMemory},
                              {lnkScanSetting, &VMainWidget::showScanSetting},
                              {lnkViewScanLog, &VMainWidget::showScanLog},
                              {lnkQuarantine, &VMainWidget::showQuarantine},
                          });
}

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
