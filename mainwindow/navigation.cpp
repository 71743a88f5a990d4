#include "mainwindow/vmainwidget.h"

#include "installation/installation.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"

#include <QButtonGroup>
#include <QLabel>
#include <QStackedWidget>

void VMainWidget::showTitle(Page page)
{
    lblSelectedMenu->setText(QLatin1StringView("<p align=\"center\">") + tr(pageTitles[page]) +
                             QLatin1StringView("</p>"));
}

bool VMainWidget::settleSettings()
{
    if (settingsChanged == NothingModified)
        return true;
    if (vMessage(this, tr("Do you want to save the changes?"), VMessageBox::Question, VMessageBox::BTN_YES,
                 VMessageBox::BTN_NO) != VMessageBox::BTN_YES) {
        settingsChanged = NothingModified;
        return true;
    }
    return settingsChanged == ScanSettingsModified ? slotSaveScanSettings() : slotSaveUpdateSettings();
}

void VMainWidget::changeSelectionMenuText(int id)
{
    if (!settleSettings())
        return;
    // Without a record of the last scan the page does not come up at all.
    if (id == ScanPage && !showLastScan())
        return;
    if (id == UpdatePage)
        showUpdateRunMode();
    if (id == SchedulerPage)
        displayScheduleList();
    if (id != ScanPage) {
        lnkLastScan->hide();
        lblLastScan->hide();
    }
    wgtstkMain->setCurrentIndex(id);
    showTitle(static_cast<Page>(id));
}

bool VMainWidget::installationUsable()
{
    if (get_Vardo_version() >= 0)
        return true;
    vNotice(this, tr("Please varify your Vardo installation"));
    return false;
}

void VMainWidget::showSubPage(Page page)
{
    showTitle(page);
    if (QAbstractButton* on = btngrpMenu->checkedButton()) {
        // An exclusive group refuses to let go of the button that is on.
        btngrpMenu->setExclusive(false);
        on->setChecked(false);
        btngrpMenu->setExclusive(true);
    }
    wgtstkMain->setCurrentIndex(page);
}

void VMainWidget::slotCancelSetting()
{
    // The question runs an event loop of its own, so the sender is noted before it.
    const bool fromUpdateSettings = sender() == btnCancelUpdateSetting;
    if (!settleSettings())
        return;
    settingsChanged = NothingModified;
    (fromUpdateSettings ? btnUpdate : btnScan)->setChecked(true);
    changeSelectionMenuText(fromUpdateSettings ? UpdatePage : ScanPage);
}

void VMainWidget::scanValueChanged()
{
    emit scanSettingsModified();
}

void VMainWidget::updateValueChanged()
{
    emit updateSettingsModified();
}

void VMainWidget::slotScanValueChanged()
{
    settingsChanged = ScanSettingsModified;
}

void VMainWidget::slotUpdateValueChanged()
{
    settingsChanged = UpdateSettingsModified;
}
