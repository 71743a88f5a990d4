#include "mainwindow/vmainwidget.h"

#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/vlinkbutton.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>

void VMainWidget::buildUpdatePage(QWidget* page)
{
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

    auto* links = new QHBoxLayout;
    links->addWidget(lnkUpdateSetting);
    links->addWidget(lblSeperator_2_2);
    links->addWidget(lnkUpdateNow1);

    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(40, 40, 40, 40);
    grid->setSpacing(15);
    grid->addWidget(lblUpdateConfiguration, 0, 0, 1, 4);
    grid->addWidget(lblLastUpdated, 1, 1);
    grid->addWidget(lblLastUpdatedDate, 1, 2);
    grid->addWidget(lblUpdateRunMode, 2, 1);
    grid->addWidget(lblUpdateRunModeValue, 2, 2);
    grid->addLayout(links, 3, 1, Qt::AlignLeft);
    grid->addWidget(lblUpdateReport, 4, 0, 1, 4);
    grid->addWidget(lnkViewUpdateLog, 5, 1, Qt::AlignLeft);
    grid->setColumnMinimumWidth(0, 25);
    grid->setColumnStretch(3, 1);
    grid->setRowStretch(6, 1);
}
