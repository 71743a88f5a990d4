#include "mainwindow/updatepage.h"

#include "engine/update.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/framelessflags.h"
#include "kit/labels.h"
#include "kit/placement.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "mainwindow/clicks.h"
#include "mainwindow/vmainwidget.h"
#include "update/updateoutcome.h"
#include "update/vupdatedialog.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>

#include <memory>

#include <unistd.h>

void pages::Update::buildOn(QWidget* page)
{
    wgtstkUpdate = page;
    lblUpdateConfiguration = build::heading(page, "lblUpdateConfiguration");
    lblLastUpdated = plainLabel(page, "lblLastUpdated");
    lblLastUpdatedDate = plainLabel(page, "lblLastUpdatedDate");
    lblUpdateRunMode = plainLabel(page, "lblUpdateRunMode");
    lblUpdateRunModeValue = plainLabel(page, "lblUpdateRunModeValue");
    lnkUpdateSetting = build::link(page, "lnkUpdateSetting");
    lblSeperator_2_2 = build::separator(page, "lblSeperator_2_2");
    lnkUpdateNow1 = build::link(page, "lnkUpdateNow1");
    lblUpdateReport = build::heading(page, "lblUpdateReport");
    lnkViewUpdateLog = build::link(page, "lnkViewUpdateLog");

    for (QWidget* link : {lnkUpdateSetting, lnkUpdateNow1})
        link->setEnabled(getgid() == 0);

    accessible::setCaptions(
        {{lblLastUpdated, lblLastUpdatedDate}, {lblUpdateRunMode, lblUpdateRunModeValue}});
    auto* grid = build::layout<QGridLayout>(40, 15, page);
    grid->addWidget(lblUpdateConfiguration, 0, 0, 1, 4);
    grid->addWidget(lblLastUpdated, 1, 1);
    grid->addWidget(lblLastUpdatedDate, 1, 2);
    grid->addWidget(lblUpdateRunMode, 2, 1);
    grid->addWidget(lblUpdateRunModeValue, 2, 2);
    grid->addLayout(build::row(15, {lnkUpdateSetting, lblSeperator_2_2, lnkUpdateNow1}), 3, 1, Qt::AlignLeft);
    grid->addWidget(lblUpdateReport, 4, 0, 1, 4);
    grid->addWidget(lnkViewUpdateLog, 5, 1, Qt::AlignLeft);
    grid->setColumnMinimumWidth(0, 25);
    grid->setColumnStretch(3, 1);
    grid->setRowStretch(6, 1);
}

void pages::Update::languageChange()
{
    setTexts(VMainWidget::tr,
             {
                 {lblUpdateConfiguration, "Configuration"},
                 {lblLastUpdated, "Last database updated"},
                 {lblUpdateRunMode, "Run mode"},
                 {lnkUpdateSetting, "Settings", "Click to view and change update setting", "Alt+S"},
                 {lblSeperator_2_2, "|"},
                 {lnkUpdateNow1, "Update now", "Start the update process now", "Alt+U"},
                 {lblUpdateReport, "Reports"},
                 {lnkViewUpdateLog, "View log", "Click to view update report", "Alt+V"},
             });
}

void pages::Update::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {lnkUpdateSetting, &VMainWidget::showUpdateSetting},
                              {lnkUpdateNow1, &VMainWidget::slotUpdateNow},
                              {lnkViewUpdateLog, &VMainWidget::showUpdateLog},
                          });
}

void VMainWidget::showUpdateRunMode()
{
    unsigned char automatic = 0;
    if (updateEngine().GetOption(UPDOPT_AUTOUPDATE, &automatic) == 0)
        lblUpdateRunModeValue->setText(automatic ? tr("Automatic") : tr("Manual"));
}

void VMainWidget::showUpdateDialog()
{
    if (getuid() != 0)
        vMessage(this, tr("Login as root to download update."), VMessageBox::Critical, VMessageBox::BTN_OK);
    else if (vAsk(this, tr("Should the virus signatures be updated now?")))
        slotUpdateNow();
}

void VMainWidget::slotUpdateNow()
{
    if (scanInProgress)
        return;
    auto dialog = std::make_unique<VUpdateDialog>(this, nullptr, true, FRAMELESS_FLAGS);
    updateInProgress = true;
    centreOn(*dialog, *this);
    const int result = dialog->exec();
    dialog.reset();
    showUpdateOutcome(this, result, tr);
    updateInProgress = false;
    showStatus();
}
