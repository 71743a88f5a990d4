#include "mainwindow/vmainwidget.h"

#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/vcheckbox.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "kit/vradiobutton.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QPixmap>

void VMainWidget::buildScanSettingPage(QWidget* page)
{
    lblInfectedAction = plainLabel(page, "lblInfectedAction");
    cmbScanAction = new QComboBox(page);
    cmbScanAction->setObjectName(QLatin1StringView("cmbScanAction"));
    QPalette textured;
    textured.setBrush(QPalette::Button, vardoPixmap(QLatin1StringView("button_back.png")));
    cmbScanAction->setPalette(textured);
    chkStartupScan = new VCheckBox(page, "chkStartupScan");
    lnkGlobalScanConf = build::link(page, "lnkGlobalScanConf");
    btnSaveScanSetting = build::textButton(page, "btnSaveScanSetting");
    btnCancelScanSetting = build::textButton(page, "btnCancelScanSetting");

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addWidget(lnkGlobalScanConf);
    buttons->addItem(build::stretch());
    buttons->addWidget(btnSaveScanSetting);
    buttons->addWidget(btnCancelScanSetting);

    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(15, 15, 15, 15);
    grid->setSpacing(10);
    grid->addWidget(lblInfectedAction, 0, 0);
    grid->addWidget(cmbScanAction, 0, 1);
    grid->addWidget(buildScanObjectGroup(page), 1, 0, 1, 2);
    grid->addWidget(buildLogGroup(page), 2, 0, 1, 2);
    grid->addWidget(chkStartupScan, 3, 0, 1, 2);
    grid->addLayout(buttons, 4, 0, 1, 2);
}

QWidget* VMainWidget::buildScanObjectGroup(QWidget* page)
{
    grpSettings = new QGroupBox(page);
    grpSettings->setObjectName(QLatin1StringView("grpSettings"));
    auto* grid = new QGridLayout(grpSettings);
    grid->setContentsMargins(build::groupMargins(grpSettings, 18));
    grid->setSpacing(5);
    const struct
    {
        VCheckBox* VMainWidget::*box;
        const char* name;
        int row, column;
        bool on;
    } boxes[] = {
        {&VMainWidget::chkRecursive, "chkRecursive", 0, 0, true},
        {&VMainWidget::chkMail, "chkMail", 0, 1, true},
        {&VMainWidget::chkHeuristic, "chkHeuristic", 0, 2, true},
        {&VMainWidget::chkCrossFS, "chkCrossFS", 1, 0, false},
        {&VMainWidget::chkArchive, "chkArchive", 1, 1, true},
        {&VMainWidget::chkPack, "chkPack", 1, 2, true},
        {&VMainWidget::chkSymLink, "chkSymLink", 2, 0, false},
    };
    for (const auto& entry : boxes) {
        auto* box = new VCheckBox(grpSettings, entry.name);
        box->setChecked(entry.on);
        grid->addWidget(box, entry.row, entry.column);
        this->*entry.box = box;
    }
    return grpSettings;
}

QWidget* VMainWidget::buildLogGroup(QWidget* page)
{
    grpLogOption = new QGroupBox(page);
    grpLogOption->setObjectName(QLatin1StringView("grpLogOption"));
    lblLogLocation = plainLabel(grpLogOption, "lblLogLocation");
    editLogLoc = build::entry(grpLogOption, "editLogLoc", "200x25Text.png", {200, 25}, 2047);
    editLogLoc->setReadOnly(true);
    btnBrowseLogLoc = build::pictureButton(grpLogOption, "btnBrowseLogLoc", "browse", {32, 32}, false);

    btngrpLogLevel = new QWidget(grpLogOption);
    btngrpLogLevel->setObjectName(QLatin1StringView("btngrpLogLevel"));
    lblLogLevel = plainLabel(btngrpLogLevel, "lblLogLevel");
    rdoLogAll = new VRadioButton(btngrpLogLevel, "rdoLogAll");
    rdoLogInfected = new VRadioButton(btngrpLogLevel, "rdoLogInfected");
    rdoLogNone = new VRadioButton(btngrpLogLevel, "rdoLogNone");
    rdoLogInfected->setChecked(true);
    auto* levels = new QHBoxLayout(btngrpLogLevel);
    levels->setContentsMargins(0, 0, 0, 0);
    levels->setSpacing(10);
    levels->addWidget(lblLogLevel);
    for (VRadioButton* level : {rdoLogAll, rdoLogInfected, rdoLogNone})
        levels->addWidget(level);

    auto* grid = new QGridLayout(grpLogOption);
    grid->setContentsMargins(build::groupMargins(grpLogOption, 18));
    grid->setSpacing(5);
    grid->addWidget(lblLogLocation, 0, 0);
    grid->addWidget(editLogLoc, 0, 1);
    grid->addWidget(btnBrowseLogLoc, 0, 2);
    grid->addItem(build::stretch(), 0, 3);
    grid->addWidget(btngrpLogLevel, 1, 0, 1, 4);
    return grpLogOption;
}
