#include "mainwindow/schedulerpage.h"

#include "base/paths.h"
#include "engine/schedule.h"
#include "kit/builders.h"
#include "kit/framelessflags.h"
#include "kit/labels.h"
#include "kit/placement.h"
#include "kit/texts.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/joblist.h"
#include "mainwindow/vmainwidget.h"
#include "schedule/vscheduledialog.h"

#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QTreeWidget>

/// A name up to the width of the list stands in one piece.
static constexpr int widestColumn = 640;

void pages::Scheduler::buildOn(QWidget* page)
{
    wgtstkScheduler = page;
    lstSchedule = build::list(page, "lstSchedule",
                              {VMainWidget::tr("Name"), VMainWidget::tr("Frequency"), VMainWidget::tr("Time"),
                               VMainWidget::tr("Target")});
    lstSchedule->setSortingEnabled(true);
    lstSchedule->sortByColumn(0, Qt::AscendingOrder);
    lstSchedule->header()->setMaximumSectionSize(widestColumn);
    lblScheduleWarning = plainLabel(page, "lblScheduleWarning");
    build::setTextColour(lblScheduleWarning, QColor(255, 0, 0));
    btnAddJob = build::textButton(page, "btnAddJob");
    btnEditSchedule = build::textButton(page, "btnEditSchedule");
    btnDeleteSchedule = build::textButton(page, "btnDeleteSchedule");
    btnPurgeSchedule = build::textButton(page, "btnPurgeSchedule");

    QGridLayout* grid = build::listGrid(page, lstSchedule, 6);
    grid->addWidget(lblScheduleWarning, 1, 0);
    grid->addItem(scheduleSpacer = build::stretch(), 1, 1);
    build::fillRow(grid, 1, 2, {btnAddJob, btnEditSchedule, btnDeleteSchedule, btnPurgeSchedule});
}

void pages::Scheduler::languageChange()
{
    setTexts(VMainWidget::tr, {
                                  {lblScheduleWarning, "*Schedule(s) outdated"},
                                  {btnAddJob, "&Add task", "Add new scanning schedule", "Alt+A"},
                                  {btnEditSchedule, "&Edit", "Edit selected scanning schedule", "Alt+E"},
                                  {btnDeleteSchedule, "&Delete", "Delete selected schedule", "Alt+D"},
                                  {btnPurgeSchedule, "&Purge", "Purge outdated schedule", "Alt+P"},
                              });
}

void pages::Scheduler::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {btnAddJob, &VMainWidget::slotAddJob},
                              {btnEditSchedule, &VMainWidget::slotEditSchedule},
                              {btnDeleteSchedule, &VMainWidget::slotDeleteSchedule},
                              {btnPurgeSchedule, &VMainWidget::slotPurgeJobs},
                          });
    connectList(lstSchedule, window, &VMainWidget::slotScheduleSelection, &VMainWidget::slotEditSchedule);
}

QByteArray pages::Scheduler::selectedJob() const
{
    const QList<QTreeWidgetItem*> selected = lstSchedule->selectedItems();
    return selected.isEmpty() ? QByteArray() : jobName(*selected.first());
}

void VMainWidget::displayScheduleList()
{
    const std::optional<JobList> jobs = readJobList();
    if (!jobs)
        return;
    btnPurgeSchedule->setEnabled(jobs->anyOutdated);
    build::setRows(lstSchedule, jobs->rows);
    btnEditSchedule->setEnabled(false);
    btnDeleteSchedule->setEnabled(false);
}

void VMainWidget::slotScheduleSelection()
{
    btnEditSchedule->setEnabled(true);
    btnDeleteSchedule->setEnabled(true);
}

void VMainWidget::editJob(const char* name)
{
    VScheduleDialog dialog(this, nullptr, true, FRAMELESS_FLAGS);
    centreOn(dialog, *this);
    if (name)
        dialog.init(name);
    dialog.exec();
    displayScheduleList();
}

void VMainWidget::slotAddJob()
{
    editJob(nullptr);
}

void VMainWidget::slotEditSchedule()
{
    const QByteArray name = selectedJob();
    if (!name.isEmpty())
        editJob(name);
}

void VMainWidget::slotDeleteSchedule()
{
    const QByteArray name = selectedJob();
    if (name.isEmpty() ||
        !vAsk(this, tr("Do you want to delete the scheduled task?"), VMessageBox::BTN_YES, noDefault))
        return;
    if (vSchedule::DeleteSchedule(paths::scheduleCron, name, paths::scheduleStore) >= 0)
        displayScheduleList();
}

void VMainWidget::slotPurgeJobs()
{
    if (vSchedule::DeleteOldSchedules(paths::scheduleCron, paths::scheduleStore) > 0)
        displayScheduleList();
}
