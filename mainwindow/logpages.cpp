#include "mainwindow/vmainwidget.h"

#include "kit/vpushbutton.h"
#include "mainwindow/builders.h"

#include <QGridLayout>
#include <QTreeWidget>

namespace {

void layOut(QWidget* page, QTreeWidget* list, std::initializer_list<QWidget*> buttons)
{
    QGridLayout* grid = build::listGrid(page, list, 4);
    grid->addItem(build::stretch(), 1, 0);
    build::fillRow(grid, 1, 1, buttons);
}

} // namespace

void VMainWidget::buildScanLogPage(QWidget* page)
{
    lstScanLogs = build::fileList(page, "lstScanLogs", {tr("File Name"), tr("Date"), tr("File Size")});
    btnViewScanLog = build::textButton(page, "btnViewScanLog");
    btnDeleteScanLog = build::textButton(page, "btnDeleteScanLog");
    btnDeleteScanLogs = build::textButton(page, "btnDeleteScanLogs");
    layOut(page, lstScanLogs, {btnViewScanLog, btnDeleteScanLog, btnDeleteScanLogs});
}

void VMainWidget::buildUpdateLogPage(QWidget* page)
{
    lstUpdateLogs = build::fileList(page, "lstUpdateLogs", {tr("File Name"), tr("Date"), tr("File Size")});
    btnViewUpdateLog = build::textButton(page, "btnViewUpdateLog");
    btnDeleteUpdateLog = build::textButton(page, "btnDeleteUpdateLog");
    btnDeleteUpdateLogs = build::textButton(page, "btnDeleteUpdateLogs");
    layOut(page, lstUpdateLogs, {btnViewUpdateLog, btnDeleteUpdateLog, btnDeleteUpdateLogs});
}
