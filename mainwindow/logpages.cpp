#include "mainwindow/logpages.h"

#include "base/paths.h"
#include "engine/vardo.h"
#include "kit/builders.h"
#include "kit/framelessflags.h"
#include "kit/placement.h"
#include "kit/texts.h"
#include "kit/visibletext.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/vmainwidget.h"
#include "reports/logfiles.h"
#include "reports/vshowlogdialog.h"

#include <QDateTime>
#include <QGridLayout>
#include <QStackedWidget>
#include <QTreeWidget>

#include <cmath>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char updateLogName[] = "updates.log";
constexpr std::size_t locationSize = 2048;
/// Where a row keeps the bytes of its file's name.
constexpr int nameRole = Qt::UserRole;

QTreeWidget* logList(QWidget* page, const char* name)
{
    return build::fileList(
        page, name, {VMainWidget::tr("File Name"), VMainWidget::tr("Date"), VMainWidget::tr("File Size")});
}

/// Gives the spacer before the buttons, which the layout owns.
QSpacerItem* layOut(QWidget* page, QTreeWidget* list, std::initializer_list<QWidget*> buttons)
{
    QGridLayout* grid = build::listGrid(page, list, 4);
    QSpacerItem* spacer = build::stretch();
    grid->addItem(spacer, 1, 0);
    build::fillRow(grid, 1, 1, buttons);
    return spacer;
}

/// Whole KiB with two decimals that are always 0, or bytes below one KiB. From a million KiB on the number
/// has an exponent.
QString sizeText(qint64 bytes)
{
    const qint64 whole = bytes / 1024;
    const float kib = std::trunc(static_cast<float>(whole) * 100) / 100;
    return kib >= 1 ? QString::number(double(kib), 'g', 6) + QLatin1Char('K') : QString::number(bytes);
}

QTreeWidgetItem* makeRow(const logfiles::File& file)
{
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(file.modified);
    // The order of the rows is the order of these texts.
    const QString time = modified.date().toString(QStringLiteral("yyyy MM dd ")) +
                         modified.time().toString(QStringLiteral("hh:mm:ss"));
    auto* row = new QTreeWidgetItem({visibleText(shownText(file.name.c_str())), time, sizeText(file.size)});
    row->setData(0, nameRole, QByteArray::fromStdString(file.name));
    return row;
}

std::string nameOf(const QTreeWidgetItem* row)
{
    return row->data(0, nameRole).toByteArray().toStdString();
}

} // namespace

void pages::ScanLog::buildOn(QWidget* page)
{
    wgtstkScanLog = page;
    lstScanLogs = logList(page, "lstScanLogs");
    btnViewScanLog = build::textButton(page, "btnViewScanLog");
    btnDeleteScanLog = build::textButton(page, "btnDeleteScanLog");
    btnDeleteScanLogs = build::textButton(page, "btnDeleteScanLogs");
    scanLogSpacer = layOut(page, lstScanLogs, {btnViewScanLog, btnDeleteScanLog, btnDeleteScanLogs});
}

void pages::UpdateLog::buildOn(QWidget* page)
{
    wgtstkUpdateLog = page;
    lstUpdateLogs = logList(page, "lstUpdateLogs");
    btnViewUpdateLog = build::textButton(page, "btnViewUpdateLog");
    btnDeleteUpdateLog = build::textButton(page, "btnDeleteUpdateLog");
    btnDeleteUpdateLogs = build::textButton(page, "btnDeleteUpdateLogs");
    updateLogSpacer =
        layOut(page, lstUpdateLogs, {btnViewUpdateLog, btnDeleteUpdateLog, btnDeleteUpdateLogs});
}

void pages::ScanLog::languageChange()
{
    setTexts(VMainWidget::tr, {
                                  {btnViewScanLog, "&View", "Show the selected scan log", "Alt+V"},
                                  {btnDeleteScanLog, "&Delete", "Delete selected scan log", "Alt+D"},
                                  {btnDeleteScanLogs, "Delete &All", "Delete all scan logs", "Alt+A"},
                              });
}

void pages::UpdateLog::languageChange()
{
    setTexts(VMainWidget::tr, {
                                  {btnViewUpdateLog, "&View", "Show the selected update log", "Alt+V"},
                                  {btnDeleteUpdateLog, "&Delete", "Delete selected update log", "Alt+D"},
                                  {btnDeleteUpdateLogs, "Delete &All", "Delete all update logs", "Alt+A"},
                              });
}

void pages::ScanLog::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {btnViewScanLog, &VMainWidget::slotViewScanLogs},
                              {btnDeleteScanLog, &VMainWidget::slotDeleteScanLogs},
                              {btnDeleteScanLogs, &VMainWidget::slotDeleteAllScanLogs},
                          });
    connectList(lstScanLogs, window, &VMainWidget::slotScanLogSelection, &VMainWidget::slotViewScanLogs);
}

void pages::UpdateLog::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {btnViewUpdateLog, &VMainWidget::slotViewUpdateLogs},
                              {btnDeleteUpdateLog, &VMainWidget::slotDeleteUpdateLogs},
                              {btnDeleteUpdateLogs, &VMainWidget::slotDeleteAllUpdateLogs},
                          });
    connectList(lstUpdateLogs, window, &VMainWidget::slotUpdateLogSelection,
                &VMainWidget::slotViewUpdateLogs);
}

void VMainWidget::showScanLog()
{
    showSubPage(ScanLogPage);
    readLogDir();
}

void VMainWidget::showUpdateLog()
{
    showSubPage(UpdateLogPage);
    readUpdateLogEntry();
}

std::optional<std::string> VMainWidget::scanLogLocation()
{
    std::array<char, locationSize + 1> location{};
    if (!scanner || scanner->GetOption(SCANOPT_LOGLOCATION, location.data()) < 0)
        return std::nullopt;
    return location.data();
}

void VMainWidget::readLogDir()
{
    build::setRows(lstScanLogs, {});
    const std::optional<std::string> location = scanLogLocation();
    if (!location)
        return;
    const auto files = logfiles::list(logfiles::openScanFolder(*location).get());
    if (!files)
        return;
    QList<QTreeWidgetItem*> rows;
    for (const logfiles::File& file : *files)
        rows << makeRow(file);
    build::setRows(lstScanLogs, rows);
    btnDeleteScanLogs->setEnabled(!rows.isEmpty());
    btnDeleteScanLog->setEnabled(false);
    btnViewScanLog->setEnabled(false);
}

void VMainWidget::readUpdateLogEntry()
{
    QList<QTreeWidgetItem*> rows;
    if (auto file = logfiles::find(AT_FDCWD, paths::updateLog)) {
        file->name = updateLogName;
        rows << makeRow(*file);
    }
    build::setRows(lstUpdateLogs, rows);
    btnDeleteUpdateLogs->setEnabled(!rows.isEmpty());
    btnDeleteUpdateLog->setEnabled(false);
    btnViewUpdateLog->setEnabled(false);
}

void VMainWidget::slotScanLogSelection()
{
    btnViewScanLog->setEnabled(true);
    btnDeleteScanLog->setEnabled(true);
}

void VMainWidget::slotUpdateLogSelection()
{
    btnDeleteUpdateLog->setEnabled(true);
    btnViewUpdateLog->setEnabled(true);
}

template <class Log>
void VMainWidget::viewLog(Log log)
{
    VShowLogDialog dialog(this, nullptr, true, FRAMELESS_FLAGS);
    dialog.showLogs(std::move(log));
    centreOn(dialog, *this);
    dialog.exec();
}

/// Shows the current row, selected or not.
void VMainWidget::slotViewScanLogs()
{
    const QTreeWidgetItem* row = lstScanLogs->currentItem();
    const std::optional<std::string> location = scanLogLocation();
    if (row && location)
        viewLog(logfiles::open(logfiles::openScanFolder(*location).get(), nameOf(row)));
}

void VMainWidget::slotViewUpdateLogs()
{
    if (lstUpdateLogs->topLevelItemCount() > 0)
        viewLog(paths::updateLog);
}

void VMainWidget::slotDeleteScanLogs()
{
    deleteScanLogs(tr("Do you want to Delete the Selected Log File?"), true);
}

void VMainWidget::slotDeleteAllScanLogs()
{
    deleteScanLogs(tr("Do you want to delete all the Log Files?"), false);
}

void VMainWidget::deleteScanLogs(const QString& question, bool selectedOnly)
{
    const std::optional<std::string> location = scanLogLocation();
    if (lstScanLogs->topLevelItemCount() == 0 || !location)
        return;
    const base::UniqueFd folder = logfiles::openScanFolder(*location);
    if (!mayDeleteLogs(logfiles::mayDelete(folder.get())))
        return;
    std::vector<std::string> names;
    for (int i = 0; i < lstScanLogs->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = lstScanLogs->topLevelItem(i);
        if (!selectedOnly || row->isSelected())
            names.push_back(nameOf(row));
    }
    if (!names.empty() && !vAsk(this, question, VMessageBox::BTN_YES, noDefault))
        return;
    for (const std::string& name : names)
        logfiles::remove(folder.get(), name);
    readLogDir();
}

void VMainWidget::slotDeleteUpdateLogs()
{
    deleteUpdateLog(tr("Do you want to Delete the Selected Log File?"));
}

void VMainWidget::slotDeleteAllUpdateLogs()
{
    deleteUpdateLog(tr("Do you want to delete all the Log Files?"));
}

/// There is only one file, so the selection does not count.
void VMainWidget::deleteUpdateLog(const QString& question)
{
    if (lstUpdateLogs->topLevelItemCount() == 0 || !mayDeleteLogs(access(paths::updateLog, W_OK) == 0) ||
        !vAsk(this, question, VMessageBox::BTN_YES, noDefault))
        return;
    logfiles::remove(AT_FDCWD, paths::updateLog);
    readUpdateLogEntry();
}

bool VMainWidget::mayDeleteLogs(bool permitted)
{
    if (!permitted)
        vMessage(this, tr("Not enough permission to delete logs"), VMessageBox::Information, okDefault);
    return permitted;
}
