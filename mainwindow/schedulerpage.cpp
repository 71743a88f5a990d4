#include "mainwindow/vmainwidget.h"

#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/vpushbutton.h"

#include <QGridLayout>
#include <QLabel>
#include <QTreeWidget>

void VMainWidget::buildSchedulerPage(QWidget* page)
{
    lstSchedule = build::list(page, "lstSchedule", {tr("Name"), tr("Frequency"), tr("Time"), tr("Target")});
    lstSchedule->setSortingEnabled(true);
    lstSchedule->sortByColumn(0, Qt::AscendingOrder);
    lblScheduleWarning = plainLabel(page, "lblScheduleWarning");
    build::setTextColour(lblScheduleWarning, QColor(255, 0, 0));
    btnAddJob = build::textButton(page, "btnAddJob");
    btnEditSchedule = build::textButton(page, "btnEditSchedule");
    btnDeleteSchedule = build::textButton(page, "btnDeleteSchedule");
    btnPurgeSchedule = build::textButton(page, "btnPurgeSchedule");

    QGridLayout* grid = build::listGrid(page, lstSchedule, 6);
    grid->addWidget(lblScheduleWarning, 1, 0);
    grid->addItem(build::stretch(), 1, 1);
    build::fillRow(grid, 1, 2, {btnAddJob, btnEditSchedule, btnDeleteSchedule, btnPurgeSchedule});
}
