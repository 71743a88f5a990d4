#include "mainwindow/scansettingpage.h"

#include "base/paths.h"
#include "engine/vardo.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/confowner.h"
#include "mainwindow/vmainwidget.h"
#include "scan/actiondata.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>

#include <algorithm>
#include <array>

#include <unistd.h>

using pages::ScanSetting;

namespace {

/// The entries of cmbScanAction, in order.
constexpr ScanAction scanActions[] = {
    {"Log only", SCANACT_LOG, SCANFLAG_NO_DISINFECT},
    {"Disinfect (if not possible, Log)", SCANACT_LOG, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, delete file)", SCANACT_DELETE, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, Quarantine file)", SCANACT_QUARANTINE, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible, Rename file)", SCANACT_RENAME, SCANFLAG_DISINFECT},
    {"Disinfect (if not possible Prompt Action)", SCANACT_PROMPT, SCANFLAG_DISINFECT},
    {"Delete", SCANACT_DELETE, SCANFLAG_NO_DISINFECT},
    {"Quarantine", SCANACT_QUARANTINE, SCANFLAG_NO_DISINFECT},
    {"Rename", SCANACT_RENAME, SCANFLAG_NO_DISINFECT},
    {"Ask user", SCANACT_PROMPT, SCANFLAG_NO_DISINFECT},
};

constexpr struct
{
    VRadioButton* ScanSetting::*button;
    const char* name;
    const char* text;
    unsigned int level;
} logLevels[] = {
    {&ScanSetting::rdoLogAll, "rdoLogAll", "All", LOGLEVEL_ALL},
    {&ScanSetting::rdoLogInfected, "rdoLogInfected", "Infected", LOGLEVEL_INFECTED},
    {&ScanSetting::rdoLogNone, "rdoLogNone", "Minimum", LOGLEVEL_MINIMUM},
};

constexpr std::size_t logLocationSize = 2048;

} // namespace

void ScanSetting::buildOn(QWidget* page)
{
    wgtstkScanSetting = page;
    lblInfectedAction = plainLabel(page, "lblInfectedAction");
    cmbScanAction = build::comboBox(page, "cmbScanAction");
    chkStartupScan = build::checkBox(page, "chkStartupScan");
    lnkGlobalScanConf = build::link(page, "lnkGlobalScanConf");
    lnkGlobalScanConf->setEnabled(getgid() != 0);
    btnSaveScanSetting = build::textButton(page, "btnSaveScanSetting");
    btnCancelScanSetting = build::textButton(page, "btnCancelScanSetting");

    auto* grid = build::layout<QGridLayout>(15, 10, page);
    grid->addWidget(lblInfectedAction, 0, 0);
    grid->addWidget(cmbScanAction, 0, 1);
    grid->addWidget(buildObjectGroup(page), 1, 0, 1, 2);
    grid->addWidget(buildLogGroup(page), 2, 0, 1, 2);
    grid->addWidget(chkStartupScan, 3, 0, 1, 2);
    grid->addLayout(build::row(10, {lnkGlobalScanConf, nullptr, btnSaveScanSetting, btnCancelScanSetting}), 4,
                    0, 1, 2);
}

QGroupBox* ScanSetting::buildObjectGroup(QWidget* page)
{
    grpSettings = build::groupBox(page, "grpSettings");
    buildScanOptions(grpSettings, build::groupGrid(grpSettings, 18, 5));
    return grpSettings;
}

QGroupBox* ScanSetting::buildLogGroup(QWidget* page)
{
    grpLogOption = build::groupBox(page, "grpLogOption");
    lblLogLocation = plainLabel(grpLogOption, "lblLogLocation");
    editLogLoc = build::entry(grpLogOption, "editLogLoc", "200x25Text.png", {200, 25}, 2047);
    editLogLoc->setReadOnly(true);
    btnBrowseLogLoc = build::pictureButton(grpLogOption, "btnBrowseLogLoc", "browse", {32, 32}, false);

    QGridLayout* grid = build::groupGrid(grpLogOption, 18, 5);
    build::fillRow(grid, 0, 0, {lblLogLocation, editLogLoc, btnBrowseLogLoc});
    grid->addItem(build::stretch(), 0, 3);
    grid->addWidget(buildLogLevels(grpLogOption), 1, 0, 1, 4);
    return grpLogOption;
}

QWidget* ScanSetting::buildLogLevels(QWidget* parent)
{
    btngrpLogLevel = new QWidget(parent);
    btngrpLogLevel->setObjectName(QLatin1StringView("btngrpLogLevel"));
    lblLogLevel = plainLabel(btngrpLogLevel, "lblLogLevel");
    auto* row = build::layout<QHBoxLayout>(0, 10, btngrpLogLevel);
    row->addWidget(lblLogLevel);
    for (const auto& level : logLevels)
        row->addWidget(this->*level.button = new VRadioButton(btngrpLogLevel, level.name));
    rdoLogInfected->setChecked(true);
    accessible::setRole(btngrpLogLevel, QAccessible::Grouping);
    accessible::setCaptions({{lblLogLocation, editLogLoc}, {lblInfectedAction, cmbScanAction}});
    return btngrpLogLevel;
}

void ScanSetting::languageChange()
{
    setTexts(VMainWidget::tr,
             {
                 {lblInfectedAction, "Actions in case of virus detection"},
                 {grpSettings, "Settings"},
                 {grpLogOption, "Log settings"},
                 {lblLogLocation, "Log location"},
                 {btnBrowseLogLoc, "...", "Allows you to set log location directory", "Alt+B",
                  "Choose log location"},
                 {lblLogLevel, "Log level"},
                 {chkStartupScan, "Scan all running process(es) at startup"},
                 {lnkGlobalScanConf, "Restore global settings", "Restore the global scan setting", "Alt+G"},
                 {btnSaveScanSetting, "&Save", "Save the changes made in scan setting", "Alt+S"},
                 {btnCancelScanSetting, "&Cancel", "Cancel the changes made in scan setting", "Alt+C"},
             });
    btngrpLogLevel->setAccessibleName(lblLogLevel->text());
    setScanOptionTexts(VMainWidget::tr);
    for (const auto& level : logLevels)
        (this->*level.button)->setText(VMainWidget::tr(level.text));
    setActions(VMainWidget::tr, cmbScanAction, scanActions);
}

void ScanSetting::connectTo(VMainWidget* window)
{
    const auto watch = [window](QAbstractButton* button) {
        QObject::connect(button, &QAbstractButton::toggled, window, &VMainWidget::scanValueChanged);
    };
    std::ranges::for_each(scanOptionBoxes(), watch);
    for (const auto& level : logLevels)
        watch(this->*level.button);
    watch(chkStartupScan);
    QObject::connect(cmbScanAction, &QComboBox::activated, window, &VMainWidget::scanValueChanged);
    QObject::connect(btnSaveScanSetting, &QAbstractButton::clicked, window,
                     &VMainWidget::slotSaveScanSettings);
    connectClicks(window, {
                              {lnkGlobalScanConf, &VMainWidget::loadGlobalSettings},
                              {btnBrowseLogLoc, &VMainWidget::slotBrowseLogLocation},
                              {btnCancelScanSetting, &VMainWidget::slotCancelSetting},
                          });
}

void VMainWidget::showScanSetting()
{
    if (!scanner)
        return;
    setOptions();
    if (!installationUsable())
        return;
    showSubPage(ScanSettingPage);
    // Filling the page has marked it as modified.
    settingsChanged = NothingModified;
}

void VMainWidget::setOptions()
{
    unsigned int action = 0, flags = 0;
    if (scanner->ReadConfiguration(nullptr) < 0 || scanner->GetOption(SCANOPT_ACTION, &action) < 0 ||
        scanner->GetOption(SCANOPT_SCANOPTS, &flags) < 0)
        return;
    cmbScanAction->setCurrentIndex(indexOfAction(scanActions, action, flags));
    showScanOptions(flags);
    showLogOptions(*scanner);
    unsigned char atStartup = 0;
    const bool unknown = scanner->GetOption(SCANOPT_MEMSCAN, &atStartup) != 0;
    chkStartupScan->setChecked(unknown || atStartup);
}

void ScanSetting::showLogOptions(Vardo& engine)
{
    std::array<char, logLocationSize> location{};
    const bool known = engine.GetOption(SCANOPT_LOGLOCATION, location.data()) == 0;
    logLocation = known ? location.data() : paths::logs;
    editLogLoc->setText(QFile::decodeName(logLocation));

    unsigned int level = LOGLEVEL_INFECTED;
    if (engine.GetOption(SCANOPT_LOGLEVEL, &level) != 0)
        level = LOGLEVEL_INFECTED;
    level = std::clamp<unsigned int>(level, LOGLEVEL_MINIMUM, LOGLEVEL_ALL);
    for (const auto& entry : logLevels) {
        if (entry.level == level)
            (this->*entry.button)->setChecked(true);
    }
}

bool VMainWidget::slotSaveScanSettings()
{
    if (!scanner) {
        vMessage(this, tr("Invalid Vardo parameter."), VMessageBox::Critical, okDefault);
        return true;
    }
    takeScanOptions(*scanner);
    const bool accepted = takeLogOptions(*scanner);
    const bool saved = scanner->SaveConfiguration(nullptr) >= 0 && accepted;
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
void ScanSetting::takeScanOptions(Vardo& engine) const
{
    const int index = std::max(0, cmbScanAction->currentIndex());
    unsigned int flags = scanActions[index].disinfect | scanOptions(), action = scanActions[index].action;
    engine.SetOption(SCANOPT_ACTION, &action);
    engine.SetActionData(paths::quarantine, renameExtension, true);
    if (action == SCANACT_RENAME)
        engine.SetActionData(renameExtension, renameExtension, true);
    engine.SetOption(SCANOPT_SCANOPTS, &flags);
    excludeRenamedFiles(engine);
    unsigned char atStartup = chkStartupScan->isChecked();
    engine.SetOption(SCANOPT_MEMSCAN, &atStartup);
}

/// False when the location is none, and the engine keeps the one it had.
bool ScanSetting::takeLogOptions(Vardo& engine) const
{
    unsigned int level = LOGLEVEL_MINIMUM;
    for (const auto& entry : logLevels) {
        if ((this->*entry.button)->isChecked())
            level = entry.level;
    }
    // The level is handed over on both sides of the location.
    engine.SetOption(SCANOPT_LOGLEVEL, &level);
    std::array<char, logLocationSize> location{};
    // A location that was not chosen anew keeps its bytes, which its text may not show.
    const QString text = editLogLoc->text();
    const QByteArray path = (text == QFile::decodeName(logLocation) ? logLocation : QFile::encodeName(text))
                                .left(logLocationSize - 1);
    std::copy(path.begin(), path.end(), location.begin());
    const bool accepted = engine.SetOption(SCANOPT_LOGLOCATION, location.data()) == 0;
    engine.SetOption(SCANOPT_LOGLEVEL, &level);
    return accepted;
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
             loaded ? VMessageBox::Information : VMessageBox::Critical, okDefault);
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
