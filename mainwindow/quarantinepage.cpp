#include "mainwindow/vmainwidget.h"

#include "kit/labels.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "mainwindow/builders.h"

#include <QGridLayout>
#include <QLabel>
#include <QTreeWidget>

void VMainWidget::buildQuarantinePage(QWidget* page)
{
    lstQuarantine = build::fileList(page, "lstQuarantine",
                                    {tr("File Name"), tr("Date"), tr("File Size"), tr("Virus Name")});
    lblQuarPath = plainLabel(page, "lblQuarPath");
    lnkQuarPath = build::link(page, "lnkQuarPath");
    lblQuarCount = plainLabel(page, "lblQuarCount");
    lblQuarCountValue = plainLabel(page, "lblQuarCountValue");
    btnQuarRefresh = build::textButton(page, "btnQuarRefresh");
    btnDeleteQuar = build::textButton(page, "btnDeleteQuar");
    btnDeleteAllQuar = build::textButton(page, "btnDeleteAllQuar");
    btnCancelQuarantine = build::textButton(page, "btnCancelQuarantine");

    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(15, 15, 15, 15);
    grid->setSpacing(10);
    grid->addWidget(lstQuarantine, 0, 0, 1, 7);
    grid->addWidget(lblQuarPath, 1, 0);
    grid->addWidget(lnkQuarPath, 1, 1, 1, 6, Qt::AlignLeft);
    grid->addWidget(lblQuarCount, 2, 0);
    grid->addWidget(lblQuarCountValue, 2, 1);
    grid->addItem(build::stretch(), 2, 2);
    int column = 3;
    for (VPushButton* button : {btnQuarRefresh, btnDeleteQuar, btnDeleteAllQuar, btnCancelQuarantine})
        grid->addWidget(button, 2, column++);
}
