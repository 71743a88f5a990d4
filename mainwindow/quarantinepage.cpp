#include "mainwindow/quarantinepage.h"

#include "base/paths.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/visibletext.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/quarantinelocation.h"
#include "mainwindow/restorerun.h"
#include "mainwindow/vmainwidget.h"
#include "quarantine/store.h"

#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QStackedWidget>
#include <QTreeWidget>

#include <algorithm>

#include <unistd.h>

namespace {

/// Where a row keeps the bytes of its file's name.
constexpr int nameRole = Qt::UserRole;

/// The newline of a short record belongs to its last field, and is nothing to see.
QString shownField(std::string field)
{
    if (field.ends_with('\n'))
        field.pop_back();
    return visibleText(QString::fromStdString(field));
}

QTreeWidgetItem* makeRow(const quarantine::Record& record)
{
    auto* row =
        new QTreeWidgetItem({shownField(record.name), shownField(record.date.value_or("")),
                             shownField(record.size.value_or("")), shownField(record.virus.value_or(""))});
    row->setData(0, nameRole, QByteArray::fromStdString(record.name));
    return row;
}

std::string nameOf(const QTreeWidgetItem* row)
{
    return row->data(0, nameRole).toByteArray().toStdString();
}

/// Keeps the window painted while files are deleted one by one; who clicks meanwhile is heard afterwards.
void paintMeanwhile()
{
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

} // namespace

void pages::Quarantine::buildOn(QWidget* page)
{
    wgtstkQuarantine = page;
    lstQuarantine = build::fileList(page, "lstQuarantine",
                                    {VMainWidget::tr("File Name"), VMainWidget::tr("Date"),
                                     VMainWidget::tr("File Size"), VMainWidget::tr("Virus Name")});
    lblQuarPath = plainLabel(page, "lblQuarPath");
    lnkQuarPath = build::link(page, "lnkQuarPath");
    lblQuarCount = plainLabel(page, "lblQuarCount");
    lblQuarCountValue = plainLabel(page, "lblQuarCountValue");
    btnQuarRefresh = build::textButton(page, "btnQuarRefresh");
    btnDeleteQuar = build::textButton(page, "btnDeleteQuar");
    btnDeleteAllQuar = build::textButton(page, "btnDeleteAllQuar");
    btnCancelQuarantine = build::textButton(page, "btnCancelQuarantine");
    accessible::setCaptions({{lblQuarPath, lnkQuarPath}, {lblQuarCount, lblQuarCountValue}});

    QGridLayout* grid = build::listGrid(page, lstQuarantine, 7);
    grid->addWidget(lblQuarPath, 1, 0);
    grid->addWidget(lnkQuarPath, 1, 1, 1, 6, Qt::AlignLeft);
    grid->addItem(build::stretch(), 2, 2);
    build::fillRow(grid, 2, 0, {lblQuarCount, lblQuarCountValue});
    build::fillRow(grid, 2, 3, {btnQuarRefresh, btnDeleteQuar, btnDeleteAllQuar, btnCancelQuarantine});
}

void pages::Quarantine::languageChange()
{
    setTexts(VMainWidget::tr, {
                                  {btnQuarRefresh, "Refresh", nullptr, "Alt+R"},
                                  {btnDeleteQuar, "&Delete", nullptr, "Alt+D"},
                                  {btnDeleteAllQuar, "Delete &All", nullptr, "Alt+A"},
                                  {btnCancelQuarantine, "&Cancel", "Take back to scan menu", "Alt+C"},
                              });
    lblQuarPath->setText(VMainWidget::tr("Quarantined Path") + QLatin1StringView(" :-"));
    lnkQuarPath->setText(QLatin1StringView(paths::quarantine) + u'/');
    lnkQuarPath->setShortcut(QKeySequence(QStringLiteral("Alt+L")));
    lblQuarCount->setText(VMainWidget::tr("Quarantined count") + QLatin1StringView(" :- "));
}

void pages::Quarantine::connectTo(VMainWidget* window)
{
    connectClicks(window, {
                              {btnQuarRefresh, &VMainWidget::showQuarantine},
                              {btnDeleteQuar, &VMainWidget::slotDeleteQuarantine},
                              {btnDeleteAllQuar, &VMainWidget::slotDeleteAllQuarantine},
                              {btnCancelQuarantine, &VMainWidget::slotCancelSetting},
                              {lnkQuarPath, &VMainWidget::openQuarPath},
                          });
    QObject::connect(lstQuarantine, &QTreeWidget::itemSelectionChanged, window,
                     &VMainWidget::slotQuarSelection);
    lstQuarantine->setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(lstQuarantine, &QWidget::customContextMenuRequested, window,
                     &VMainWidget::showQuarantineMenu);
}

std::vector<std::string> pages::Quarantine::selectedFiles() const
{
    std::vector<std::string> names;
    for (int i = 0; i < lstQuarantine->topLevelItemCount(); ++i) {
        if (lstQuarantine->topLevelItem(i)->isSelected())
            names.push_back(nameOf(lstQuarantine->topLevelItem(i)));
    }
    return names;
}

void VMainWidget::showQuarantine()
{
    showSubPage(QuarantinePage);
    readQuarantineDir();
}

void VMainWidget::readQuarantineDir()
{
    btnDeleteAllQuar->setEnabled(lstQuarantine->topLevelItemCount() > 0);
    btnDeleteQuar->setEnabled(false);
    build::setRows(lstQuarantine, {});
    const auto records = quarantine::load();
    if (!records)
        return;
    QList<QTreeWidgetItem*> rows;
    for (const quarantine::Record& record : *records)
        rows << makeRow(record);
    build::setRows(lstQuarantine, rows);
    lblQuarCountValue->setText(QString::number(rows.size()));
    btnDeleteAllQuar->setEnabled(!rows.isEmpty());
}

void VMainWidget::slotQuarSelection()
{
    btnDeleteQuar->setEnabled(true);
}

void VMainWidget::slotDeleteQuarantine()
{
    if (lstQuarantine->topLevelItemCount() == 0)
        return;
    if (!quarantine::mayDelete()) {
        vMessage(this, tr("Not enough permission to delete quarantine files"), VMessageBox::Information,
                 okDefault);
        return;
    }
    bool mustAsk = true;
    for (int i = 0; i < lstQuarantine->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = lstQuarantine->topLevelItem(i);
        if (!row->isSelected())
            continue;
        if (mustAsk && !vAsk(this, tr("Do you want to Delete the Selected Quarantine File?"),
                             VMessageBox::BTN_YES, noDefault))
            return;
        mustAsk = false;
        const std::string name = nameOf(row);
        if (!quarantine::mayDelete(name))
            continue;
        if (!quarantine::removeRecord(name))
            return;
        quarantine::deleteFile(name);
        paintMeanwhile();
    }
    readQuarantineDir();
}

void VMainWidget::slotDeleteAllQuarantine()
{
    if (lstQuarantine->topLevelItemCount() == 0)
        return;
    if (!quarantine::mayDelete()) {
        vMessage(this, tr("Not enough permission to delete virus files"), VMessageBox::Information,
                 okDefault);
        return;
    }
    if (!vAsk(this, tr("Do you want to delete all the quarantine Files?"), VMessageBox::BTN_YES, noDefault))
        return;
    const bool isRoot = getuid() == 0;
    for (int i = 0; i < lstQuarantine->topLevelItemCount(); ++i) {
        const std::string name = nameOf(lstQuarantine->topLevelItem(i));
        if (!isRoot && !quarantine::mayDelete(name))
            continue;
        quarantine::deleteFile(name);
        if (!isRoot && !quarantine::removeRecord(name))
            return;
        paintMeanwhile();
    }
    // Root trusts that all files could be deleted.
    if (isRoot)
        quarantine::clearRecords();
    readQuarantineDir();
}

/// The menu runs no loop of its own: a scan under way goes on.
void VMainWidget::showQuarantineMenu(const QPoint& place)
{
    const std::vector<std::string> names = selectedFiles();
    if (names.empty())
        return;
    auto* menu = new QMenu(this);
    menu->setObjectName(QLatin1StringView("mnuQuarantine"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const bool mayRestore = std::ranges::any_of(names, quarantinelist::mayRestore);
    menu->addAction(tr("&Restore"), this, &VMainWidget::slotRestoreQuarantine)
        ->setEnabled(mayRestore && !restoreRun);
    menu->addAction(tr("&Copy name"), this, &VMainWidget::slotCopyQuarantineName);
    menu->addAction(tr("&Show origin"), this, &VMainWidget::slotShowQuarantineOrigin);
    menu->popup(lstQuarantine->viewport()->mapToGlobal(place));
}

void VMainWidget::slotRestoreQuarantine()
{
    if (restoreRun)
        return;
    restoreRun = std::make_unique<RestoreRun>(selectedFiles());
    connect(restoreRun.get(), &QThread::finished, this, &VMainWidget::slotRestored);
    restoreRun->start();
}

void VMainWidget::slotRestored()
{
    const std::unique_ptr<RestoreRun> done = std::move(restoreRun);
    readQuarantineDir();
    vMessage(this, done->said(), done->succeeded() ? VMessageBox::Information : VMessageBox::Warning,
             okDefault);
}

void VMainWidget::slotCopyQuarantineName()
{
    QStringList names;
    for (const std::string& name : selectedFiles())
        names << QString::fromStdString(name);
    QGuiApplication::clipboard()->setText(names.join(u'\n'));
}

void VMainWidget::slotShowQuarantineOrigin()
{
    vMessage(this, quarantinelist::origins(selectedFiles()), VMessageBox::Information, okDefault);
}

void VMainWidget::openQuarPath()
{
    openQuarantineLocation(getuid() == 0);
}
