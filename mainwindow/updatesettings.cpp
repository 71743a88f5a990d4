#include "mainwindow/vmainwidget.h"

#include "base/paths.h"
#include "engine/update.h"
#include "engine/vardo.h"
#include "kit/vcheckbox.h"
#include "kit/vmessagebox.h"
#include "mainwindow/confowner.h"
#include "mainwindow/updatecron.h"

#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTimeEdit>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

#include <unistd.h>

namespace {

constexpr int ok = VMessageBox::BTN_OK | VMessageBox::BTN_DEFAULT;

using Text = std::array<char, 2048>;

std::optional<QString> textOption(vUpdate& engine, unsigned int id)
{
    Text text{};
    if (engine.GetOption(id, text.data()) != 0)
        return std::nullopt;
    return QString::fromUtf8(text.data());
}

template <class Value>
std::optional<Value> numberOption(auto& engine, unsigned int id)
{
    Value value{};
    if (engine.GetOption(id, &value) != 0)
        return std::nullopt;
    return value;
}

void setText(vUpdate& engine, unsigned int id, const QLineEdit* entry)
{
    Text text{};
    const QByteArray bytes = entry->text().toUtf8().left(static_cast<qsizetype>(text.size() - 1));
    std::copy(bytes.begin(), bytes.end(), text.begin());
    engine.SetOption(id, text.data());
}

template <class Value>
void setNumber(auto& engine, unsigned int id, int number)
{
    auto value = static_cast<Value>(number);
    engine.SetOption(id, &value);
}

} // namespace

vUpdate& VMainWidget::updateEngine()
{
    if (!vupdate)
        vupdate = std::make_unique<vUpdate>(nullptr, paths::updatesConf);
    return *vupdate;
}

void VMainWidget::showUpdateSetting()
{
    if (!scanner)
        return;
    if (getgid() == 0)
        setUpdateSettings();
    if (!installationUsable())
        return;
    showTitle(UpdateSettingPage);
    releaseMenuButton();
    wgtstkMain->setCurrentIndex(UpdateSettingPage);
    // Filling the page has marked it as modified.
    settingsChanged = NothingModified;
}

void VMainWidget::setUpdateSettings()
{
    Text server{};
    if (updateEngine().ReadConfiguration(vUpdateConf::UpdateConf, nullptr) < 0 ||
        scanner->ReadConfiguration(nullptr) < 0 ||
        updateEngine().GetOption(UPDOPT_UPDATESERVER, server.data()) < 0)
        return;
    showConnectionSettings();
    showTimeSettings();
}

void VMainWidget::showConnectionSettings()
{
    vUpdate& engine = updateEngine();
    if (const auto seconds = numberOption<unsigned char>(engine, UPDOPT_TIMEOUT))
        spinTimeOut->setValue(*seconds);
    if (const auto retries = numberOption<unsigned char>(engine, UPDOPT_NOOFRETRY))
        spinRetry->setValue(*retries);
    // The entries follow the flag that was read last, should the proxy's own be unreadable.
    unsigned char flag = 0;
    if (engine.GetOption(UPDOPT_USEHTTPS, &flag) == 0)
        chkHttps->setChecked(flag);
    if (engine.GetOption(UPDOPT_USEPROXY, &flag) == 0)
        chkProxy->setChecked(flag);
    slotChkProxy(flag);

    if (const auto server = textOption(engine, UPDOPT_PROXYSERVER))
        txtProxyServer->setText(*server);
    if (const auto port = numberOption<unsigned int>(engine, UPDOPT_PROXYPORT))
        txtProxyPort->setText(*port ? QString::number(*port) : QString());
    if (const auto authentication = numberOption<unsigned char>(engine, UPDOPT_PROXYAUTH))
        chkProxyAuth->setChecked(*authentication);
    if (const auto user = textOption(engine, UPDOPT_PROXYUSER))
        txtProxyUser->setText(*user);
    if (const auto password = textOption(engine, UPDOPT_PROXYPASS))
        txtProxyPass->setText(*password);
}

void VMainWidget::showTimeSettings()
{
    vUpdate& engine = updateEngine();
    if (const auto automatic = numberOption<unsigned char>(engine, UPDOPT_AUTOUPDATE)) {
        chkUpdate->setChecked(*automatic);
        updateTime->setEnabled(*automatic);
    }
    const auto hour = numberOption<unsigned char>(engine, UPDOPT_UPDATEHOUR);
    const auto minute = numberOption<unsigned char>(engine, UPDOPT_UPDATEMINUTE);
    if (hour && minute)
        updateTime->setTime(QTime(*hour, *minute));
    const auto alert = numberOption<unsigned char>(*scanner, SCANOPT_ALERT);
    const auto days = numberOption<unsigned int>(*scanner, SCANOPT_ALERTDAYS);
    if (alert && days) {
        chkDefAlert->setChecked(*alert);
        spinDays->setEnabled(*alert);
        spinDays->setValue(static_cast<int>(std::min(*days, 1000u)));
    }
}

bool VMainWidget::updateSettingsValid()
{
    const char* message = nullptr;
    if (!chkProxy->isChecked())
        return true;
    if (!isValid_IP(txtProxyServer->text().toUtf8()) || !isValidPort(txtProxyPort->text().toUtf8()))
        message = QT_TR_NOOP("Invalid proxy settings");
    else if (chkProxyAuth->isChecked() && !isValidProxyAuth(txtProxyUser->text().toUtf8()))
        message = QT_TR_NOOP("Invalid proxy authentication settings");
    if (message)
        vMessage(this, tr(message), VMessageBox::Critical, ok);
    return !message;
}

bool VMainWidget::slotSaveUpdateSettings()
{
    if (!vupdate)
        return true;
    for (QAbstractSpinBox* spin :
         std::initializer_list<QAbstractSpinBox*>{spinDays, spinTimeOut, spinRetry, updateTime})
        spin->interpretText();
    if (getgid() == 0 && !updateSettingsValid())
        return false;
    if (!scanner) {
        vMessage(this, tr("Invalid Vardo parameter."), VMessageBox::Critical, ok);
        return true;
    }
    if (scanner->ReadConfiguration(nullptr) < 0)
        return true;
    takeConnectionSettings();
    const bool automatic = chkUpdate->isChecked();
    setNumber<unsigned char>(*vupdate, UPDOPT_AUTOUPDATE, automatic);
    const std::optional<QTime> time = automatic ? std::optional(updateTime->time()) : std::nullopt;
    if (!writeUpdateCrontab(time))
        return true;
    if (time) {
        setNumber<unsigned char>(*vupdate, UPDOPT_UPDATEHOUR, time->hour());
        setNumber<unsigned char>(*vupdate, UPDOPT_UPDATEMINUTE, time->minute());
    }
    setNumber<unsigned char>(*scanner, SCANOPT_ALERT, chkDefAlert->isChecked());
    setNumber<unsigned int>(*scanner, SCANOPT_ALERTDAYS, spinDays->value());

    const bool scanSaved = scanner->SaveConfiguration(nullptr) >= 0;
    bool updateSaved = vupdate->SaveConfiguration(nullptr) >= 0;
    installUpdateCrontab();
    updateSaved = restartCron() && updateSaved;
    // The icon follows the update configuration alone.
    vMessage(this,
             updateSaved && scanSaved ? tr("Vardo Update setting saved successfully")
                                      : tr("Error saving update configuration"),
             updateSaved ? VMessageBox::Information : VMessageBox::Critical, VMessageBox::BTN_OK);
    settingsChanged = NothingModified;
    if (getuid() == 0) {
        giveToConfOwner(paths::vardoConf);
        giveToConfOwner(paths::updatesConf);
    }
    return updateSaved;
}

void VMainWidget::takeConnectionSettings()
{
    vUpdate& engine = *vupdate;
    setNumber<unsigned char>(engine, UPDOPT_TIMEOUT, spinTimeOut->value());
    setNumber<unsigned char>(engine, UPDOPT_NOOFRETRY, spinRetry->value());
    setNumber<unsigned char>(engine, UPDOPT_USEHTTPS, chkHttps->isChecked());
    setNumber<unsigned char>(engine, UPDOPT_USEPROXY, chkProxy->isChecked());
    // Without a proxy the values of the one before are kept.
    if (!chkProxy->isChecked())
        return;
    setText(engine, UPDOPT_PROXYSERVER, txtProxyServer);
    setNumber<unsigned int>(engine, UPDOPT_PROXYPORT, std::atoi(txtProxyPort->text().toUtf8()));
    setNumber<unsigned char>(engine, UPDOPT_PROXYAUTH, chkProxyAuth->isChecked());
    if (!chkProxyAuth->isChecked())
        return;
    setText(engine, UPDOPT_PROXYUSER, txtProxyUser);
    setText(engine, UPDOPT_PROXYPASS, txtProxyPass);
}

void VMainWidget::slotChkDefAlert(int state)
{
    spinDays->setEnabled(state != 0);
    emit updateSettingsModified();
}

void VMainWidget::slotChkUpdate(int state)
{
    updateTime->setEnabled(state != 0);
    emit updateSettingsModified();
}

void VMainWidget::slotChkProxyAuth(int state)
{
    grpProxyAuth->setEnabled(state != 0);
    emit updateSettingsModified();
}

/// The entries of the authentication are enabled too, whether it is on or not.
void VMainWidget::slotChkProxy(int state)
{
    for (QWidget* widget : std::initializer_list<QWidget*>{lblIP, lblPort, txtProxyPort, txtProxyServer,
                                                           chkProxyAuth, grpProxyAuth})
        widget->setEnabled(state != 0);
    emit updateSettingsModified();
}
