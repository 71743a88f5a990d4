#include "mainwindow/vmainwidget.h"

#include "base/paths.h"
#include "engine/vardo.h"
#include "kit/vcheckbox.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"
#include "mainwindow/confowner.h"
#include "scan/actiondata.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QStackedWidget>

#include <algorithm>
#include <array>
#include <iterator>

#include <unistd.h>

namespace {

/// The entries of cmbScanAction, in order.
constexpr struct
{
    unsigned int flag;
    unsigned int action;
} scanActions[] = {
    {SCANFLAG_NO_DISINFECT, SCANACT_LOG},    {SCANFLAG_DISINFECT, SCANACT_LOG},
    {SCANFLAG_DISINFECT, SCANACT_DELETE},    {SCANFLAG_DISINFECT, SCANACT_QUARANTINE},
    {SCANFLAG_DISINFECT, SCANACT_RENAME},    {SCANFLAG_DISINFECT, SCANACT_PROMPT},
    {SCANFLAG_NO_DISINFECT, SCANACT_DELETE}, {SCANFLAG_NO_DISINFECT, SCANACT_QUARANTINE},
    {SCANFLAG_NO_DISINFECT, SCANACT_RENAME}, {SCANFLAG_NO_DISINFECT, SCANACT_PROMPT},
};

constexpr std::size_t logLocationSize = 2048;

/// The entry for an action; one that is none of ours counts as quarantine.
int actionIndex(unsigned int action, bool disinfect)
{
    const unsigned int flag = disinfect ? SCANFLAG_DISINFECT : SCANFLAG_NO_DISINFECT;
    const auto find = [&](unsigned int wanted) {
        return std::find_if(std::begin(scanActions), std::end(scanActions),
                            [&](const auto& entry) { return entry.flag == flag && entry.action == wanted; });
    };
    auto found = find(action);
    if (found == std::end(scanActions))
        found = find(SCANACT_QUARANTINE);
    return static_cast<int>(found - std::begin(scanActions));
}

} // namespace

struct VMainWidget::ScanFlagBox
{
    VCheckBox* box;
    unsigned int flag;
    bool setWhenOn;
};

std::array<VMainWidget::ScanFlagBox, 7> VMainWidget::scanFlagBoxes() const
{
    return {{
        {chkArchive, SCANFLAG_NO_ARCHIVES, false},
        {chkPack, SCANFLAG_NO_PACKED, false},
        {chkMail, SCANFLAG_NO_MAILS, false},
        {chkHeuristic, SCANFLAG_NO_HEURISTIC, false},
        {chkSymLink, SCANFLAG_FOLLOW_SYMLINKS, true},
        {chkCrossFS, SCANFLAG_CROSS_FS, true},
        {chkRecursive, SCANFLAG_NO_RECURSE, false},
    }};
}

void VMainWidget::showScanSetting()
{
    if (!scanner)
        return;
    setOptions();
    if (!installationUsable())
        return;
    showTitle(ScanSettingPage);
    releaseMenuButton();
    wgtstkMain->setCurrentIndex(ScanSettingPage);
    // Filling the page has marked it as modified.
    settingsChanged = NothingModified;
}

void VMainWidget::setOptions()
{
    unsigned int action = 0, flags = 0;
    if (scanner->ReadConfiguration(nullptr) < 0 || scanner->GetOption(SCANOPT_ACTION, &action) < 0 ||
        scanner->GetOption(SCANOPT_SCANOPTS, &flags) < 0)
        return;
    cmbScanAction->setCurrentIndex(actionIndex(action, flags & SCANFLAG_DISINFECT));
    for (const auto& [box, flag, setWhenOn] : scanFlagBoxes())
        box->setChecked(((flags & flag) != 0) == setWhenOn);
    showLogOptions();
    unsigned char atStartup = 0;
    const bool unknown = scanner->GetOption(SCANOPT_MEMSCAN, &atStartup) != 0;
    chkStartupScan->setChecked(unknown || atStartup);
}

void VMainWidget::showLogOptions()
{
    std::array<char, logLocationSize> location{};
    const bool known = scanner->GetOption(SCANOPT_LOGLOCATION, location.data()) == 0;
    logLocation = known ? location.data() : paths::logs;
    editLogLoc->setText(QFile::decodeName(logLocation));

    unsigned int level = LOGLEVEL_INFECTED;
    if (scanner->GetOption(SCANOPT_LOGLEVEL, &level) != 0)
        level = LOGLEVEL_INFECTED;
    VRadioButton* button = level < LOGLEVEL_INFECTED    ? rdoLogNone
                           : level == LOGLEVEL_INFECTED ? rdoLogInfected
                                                        : rdoLogAll;
    button->setChecked(true);
}

bool VMainWidget::slotSaveScanSettings()
{
    if (!scanner) {
        vMessage(this, tr("Invalid Vardo parameter."), VMessageBox::Critical,
                 VMessageBox::BTN_OK | VMessageBox::BTN_DEFAULT);
        return true;
    }
    takeScanOptions();
    takeLogOptions();
    const bool saved = scanner->SaveConfiguration(nullptr) >= 0;
    if (getuid() == 0)
        giveToConfOwner(paths::vardoConf);
    vMessage(this,
             saved ? tr("Vardo setting saved successfully")
                   : tr("Error saving Vardo configuration. Try later"),
             saved ? VMessageBox::Information : VMessageBox::Critical, VMessageBox::BTN_OK);
    settingsChanged = NothingModified;
    return saved;
}

/// The option word is built anew: bits without a control on the page are lost by a save.
void VMainWidget::takeScanOptions()
{
    const int index = std::max(0, cmbScanAction->currentIndex());
    unsigned int flags = scanActions[index].flag, action = scanActions[index].action;
    scanner->SetOption(SCANOPT_ACTION, &action);
    for (const auto& [box, flag, setWhenOn] : scanFlagBoxes()) {
        if (box->isChecked() == setWhenOn)
            flags |= flag;
    }
    scanner->SetActionData(paths::quarantine, renameExtension, true);
    if (action == SCANACT_RENAME)
        scanner->SetActionData(renameExtension, renameExtension, true);
    scanner->SetOption(SCANOPT_SCANOPTS, &flags);
    excludeRenamedFiles(*scanner);
    unsigned char atStartup = chkStartupScan->isChecked();
    scanner->SetOption(SCANOPT_MEMSCAN, &atStartup);
}

void VMainWidget::takeLogOptions()
{
    unsigned int level = rdoLogAll->isChecked()        ? LOGLEVEL_ALL
                         : rdoLogInfected->isChecked() ? LOGLEVEL_INFECTED
                                                       : LOGLEVEL_MINIMUM;
    // The level is handed over on both sides of the location.
    scanner->SetOption(SCANOPT_LOGLEVEL, &level);
    std::array<char, logLocationSize> location{};
    // A location that was not chosen anew keeps its bytes, which its text may not show.
    const QString text = editLogLoc->text();
    const QByteArray path = (text == QFile::decodeName(logLocation) ? logLocation : QFile::encodeName(text))
                                .left(logLocationSize - 1);
    std::copy(path.begin(), path.end(), location.begin());
    scanner->SetOption(SCANOPT_LOGLOCATION, location.data());
    scanner->SetOption(SCANOPT_LOGLEVEL, &level);
}

void VMainWidget::loadGlobalSettings()
{
    if (!scanner || !scanner->getConfigFile())
        return;
    // Reading another file may move the engine's own copy of the path.
    const std::string own = scanner->getConfigFile();
    const bool loaded =
        scanner->ReadConfiguration(paths::vardoConf) == 0 && scanner->SaveConfiguration(own.c_str()) == 0;
    vMessage(this,
             loaded ? tr("Global settings reloaded successfully") : tr("Global settings reloading failed."),
             loaded ? VMessageBox::Information : VMessageBox::Critical,
             VMessageBox::BTN_OK | VMessageBox::BTN_DEFAULT);
    if (loaded)
        setOptions();
}

void VMainWidget::slotBrowseLogLocation()
{
    if (!scanner)
        return;
    QFileDialog dialog(this, tr("Vardo log location"), editLogLoc->text());
    dialog.setObjectName(QLatin1StringView("Log location"));
    dialog.setFont(font());
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setViewMode(QFileDialog::List);
    dialog.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString chosen = QDir(dialog.selectedFiles().constFirst()).canonicalPath();
    if (chosen.isEmpty()) // gone meanwhile
        return;
    editLogLoc->setText(chosen);
    emit scanSettingsModified();
}

void VMainWidget::slotCancelSetting()
{
    // The question runs an event loop of its own, so the sender is noted before it.
    const bool fromUpdateSettings = sender() == btnCancelUpdateSetting;
    if (!settleSettings())
        return;
    settingsChanged = NothingModified;
    (fromUpdateSettings ? btnUpdate : btnScan)->setChecked(true);
    changeSelectionMenuText(fromUpdateSettings ? UpdatePage : ScanPage);
}
