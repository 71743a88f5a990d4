#include "mainwindow/schedulerpage.h"

#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vpushbutton.h"
#include "mainwindow/vmainwidget.h"

#include <QGridLayout>
#include <QLabel>
#include <QTreeWidget>

void pages::Scheduler::buildOn(QWidget* page)
{
    wgtstkScheduler = page;
    const auto tr = [](const char* text) { return VMainWidget::tr(text); };
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

void pages::Scheduler::connectTo(VMainWidget*)
{
}
