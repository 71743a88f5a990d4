#include "mainwindow/vmainwidget.h"

#include "base/paths.h"
#include "engine/update.h"
#include "installation/installation.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/firstline.h"

#include <QButtonGroup>
#include <QLabel>
#include <QStackedWidget>

namespace {

constexpr const char* pageTitles[VMainWidget::PageCount] = {
    QT_TRANSLATE_NOOP("VMainWidget", "Scan"),        QT_TRANSLATE_NOOP("VMainWidget", "Update"),
    QT_TRANSLATE_NOOP("VMainWidget", "Scheduler"),   QT_TRANSLATE_NOOP("VMainWidget", "Help"),
    QT_TRANSLATE_NOOP("VMainWidget", "Options"),     QT_TRANSLATE_NOOP("VMainWidget", "Update log"),
    QT_TRANSLATE_NOOP("VMainWidget", "Scan log"),    QT_TRANSLATE_NOOP("VMainWidget", "Update setting"),
    QT_TRANSLATE_NOOP("VMainWidget", "Quarantined"),
};

} // namespace

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
    if (id != ScanPage) {
        lnkLastScan->hide();
        lblLastScan->hide();
    }
    wgtstkMain->setCurrentIndex(id);
    showTitle(static_cast<Page>(id));
}

bool VMainWidget::showLastScan()
{
    const std::optional<QString> date = firstLine(paths::lastScan, Links::Refuse);
    if (!date)
        return false;
    lnkLastScan->setText(*date);
    lblLastScan->show();
    lnkLastScan->show();
    return true;
}

void VMainWidget::showUpdateRunMode()
{
    unsigned char automatic = 0;
    if (updateEngine().GetOption(UPDOPT_AUTOUPDATE, &automatic) == 0)
        lblUpdateRunModeValue->setText(automatic ? tr("Automatic") : tr("Manual"));
}

bool VMainWidget::installationUsable()
{
    if (get_Vardo_version() >= 0)
        return true;
    vNotice(this, tr("Please varify your Vardo installation"));
    return false;
}

void VMainWidget::releaseMenuButton()
{
    QAbstractButton* on = btngrpMenu->checkedButton();
    if (!on)
        return;
    // An exclusive group refuses to let go of the button that is on.
    btngrpMenu->setExclusive(false);
    on->setChecked(false);
    btngrpMenu->setExclusive(true);
}

void VMainWidget::showHelpMenu()
{
    if (!settleSettings())
        return;
    showTitle(HelpPage);
    releaseMenuButton();
    wgtstkMain->setCurrentIndex(HelpPage);
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
