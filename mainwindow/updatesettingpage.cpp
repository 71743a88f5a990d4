#include "mainwindow/updatesettingpage.h"

#include "base/paths.h"
#include "engine/update.h"
#include "engine/vardo.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vcheckbox.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/confowner.h"
#include "mainwindow/settingrow.h"
#include "mainwindow/updatecron.h"
#include "mainwindow/vmainwidget.h"

#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTimeEdit>

#include <array>
#include <optional>

#include <unistd.h>

using pages::UpdateSetting;

namespace {

constexpr int noLimit = 32767;

QLineEdit* proxyEntry(QWidget* parent, const char* name, int maxLength)
{
    return build::entry(parent, name, "140x25text.png", {140, 25}, maxLength);
}

} // namespace

void UpdateSetting::buildOn(QWidget* page)
{
    wgtstkUpdateSetting = page;
    chkUpdate = build::checkBox(page, "chkUpdate", true);
    updateTime = new QTimeEdit(QTime(9, 30), page);
    updateTime->setObjectName(QLatin1StringView("updateTime"));
    updateTime->setFixedSize(70, 26);
    updateTime->setDisplayFormat(QStringLiteral("hh:mm"));
    chkDefAlert = build::checkBox(page, "chkDefAlert", true);
    chkDefAlert->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    spinDays = build::spinBox(page, "spinDays", 1, 99, 15);
    lblOldDays = plainLabel(page, "lblOldDays");
    btnSaveUpdateSetting = build::textButton(page, "btnSaveUpdateSetting");
    btnCancelUpdateSetting = build::textButton(page, "btnCancelUpdateSetting");

    QHBoxLayout* alert = build::row(5, {chkDefAlert, spinDays, lblOldDays});
    alert->setStretchFactor(lblOldDays, 1);
    auto* grid = build::layout<QGridLayout>(20, 10, page);
    grid->addLayout(build::row(4, {chkUpdate, updateTime, nullptr}), 0, 0, 1, 2);
    grid->addLayout(alert, 1, 0, 1, 2);
    grid->addWidget(buildConnectionGroup(page), 2, 0);
    grid->addWidget(buildProxyGroup(page), 2, 1);
    grid->addLayout(build::row(10, {nullptr, btnSaveUpdateSetting, btnCancelUpdateSetting}), 3, 0, 1, 2);
    accessible::setCaptions({{lblConnTimeOut, spinTimeOut},
                             {lblConnRtry, spinRetry},
                             {lblIP, txtProxyServer},
                             {lblPort, txtProxyPort},
                             {lblName, txtProxyUser},
                             {lblPassword, txtProxyPass}});
}

QGroupBox* UpdateSetting::buildConnectionGroup(QWidget* page)
{
    grpConnectionSetting = build::groupBox(page, "grpConnectionSetting");
    lblConnTimeOut = plainLabel(grpConnectionSetting, "lblConnTimeOut");
    spinTimeOut = build::spinBox(grpConnectionSetting, "spinTimeOut", 15, 90, 15);
    lblConnRtry = plainLabel(grpConnectionSetting, "lblConnRtry");
    spinRetry = build::spinBox(grpConnectionSetting, "spinRetry", 1, 5, 3);
    chkHttps = build::checkBox(grpConnectionSetting, "chkHttps");

    QGridLayout* grid = build::groupGrid(grpConnectionSetting, 20, 6);
    grid->addWidget(lblConnTimeOut, 0, 0, Qt::AlignLeft);
    grid->addWidget(spinTimeOut, 0, 1, Qt::AlignLeft);
    grid->addWidget(lblConnRtry, 1, 0, Qt::AlignLeft);
    grid->addWidget(spinRetry, 1, 1, Qt::AlignLeft);
    grid->addWidget(chkHttps, 2, 0, 1, 2, Qt::AlignLeft);
    grid->setRowStretch(3, 1);
    return grpConnectionSetting;
}

QGroupBox* UpdateSetting::buildProxyGroup(QWidget* page)
{
    grpProxy = build::groupBox(page, "grpProxy");
    chkProxy = build::checkBox(grpProxy, "chkProxy");
    lblIP = plainLabel(grpProxy, "lblIP");
    txtProxyServer = proxyEntry(grpProxy, "txtProxyServer", 15);
    lblPort = plainLabel(grpProxy, "lblPort");
    txtProxyPort = proxyEntry(grpProxy, "txtProxyPort", 8);
    chkProxyAuth = build::checkBox(grpProxy, "chkProxyAuth");

    QGridLayout* grid = build::groupGrid(grpProxy, 20, 4);
    grid->addWidget(chkProxy, 0, 0, 1, 2, Qt::AlignLeft);
    grid->addWidget(lblIP, 1, 0, Qt::AlignLeft);
    grid->addWidget(txtProxyServer, 1, 1, Qt::AlignRight);
    grid->addWidget(lblPort, 2, 0, Qt::AlignLeft);
    grid->addWidget(txtProxyPort, 2, 1, Qt::AlignRight);
    grid->addWidget(chkProxyAuth, 3, 0, 1, 2, Qt::AlignLeft);
    grid->addWidget(buildProxyAuthGroup(grpProxy), 4, 0, 1, 2);
    grid->setRowStretch(5, 1);
    return grpProxy;
}

QFrame* UpdateSetting::buildProxyAuthGroup(QWidget* group)
{
    grpProxyAuth = new QFrame(group);
    grpProxyAuth->setObjectName(QLatin1StringView("grpProxyAuth"));
    grpProxyAuth->setFrameStyle(QFrame::Box | QFrame::Plain);
    grpProxyAuth->setLineWidth(0);
    grpProxyAuth->setEnabled(false);
    lblName = plainLabel(grpProxyAuth, "lblName");
    txtProxyUser = proxyEntry(grpProxyAuth, "txtProxyUser", noLimit);
    lblPassword = plainLabel(grpProxyAuth, "lblPassword");
    txtProxyPass = proxyEntry(grpProxyAuth, "txtProxyPass", noLimit);
    txtProxyPass->setEchoMode(QLineEdit::Password);

    auto* grid = build::layout<QGridLayout>(0, 4, grpProxyAuth);
    grid->addWidget(lblName, 0, 0);
    grid->addItem(build::stretch(160), 0, 1);
    grid->addWidget(txtProxyUser, 0, 2);
    grid->addWidget(lblPassword, 1, 0);
    grid->addWidget(txtProxyPass, 1, 2);
    return grpProxyAuth;
}

void UpdateSetting::languageChange()
{
    setTexts(VMainWidget::tr,
             {
                 {chkDefAlert, "Warn, if virus signature is more than"},
                 {lblOldDays, "days old."},
                 {grpConnectionSetting, "Connection settings"},
                 {lblConnTimeOut, "Connection time out"},
                 {lblConnRtry, "Connection retry"},
                 {chkHttps, "Use https"},
                 {grpProxy, "Proxy settings"},
                 {chkProxy, "Download via Proxy"},
                 {lblIP, "IP"},
                 {lblPort, "Port"},
                 {chkProxyAuth, "Proxy authentication"},
                 {lblName, "Name"},
                 {lblPassword, "Password"},
                 {btnSaveUpdateSetting, "&Save", "Save the changes made in update setting", "Alt+S"},
                 {btnCancelUpdateSetting, "&Cancel", "Cancel the changes made in update setting", "Alt+C"},
             });
    chkUpdate->setText(VMainWidget::tr("Automatic update") + u' ' + VMainWidget::tr("(hrs:min)"));
    updateTime->setAccessibleName(chkUpdate->text());
    spinDays->setAccessibleName(chkDefAlert->text() + u' ' + lblOldDays->text());
}

std::vector<SettingRow> UpdateSetting::updateSettings() const
{
    // A proxy that is off keeps its options in the engine, and so does a login.
    const bool proxy = chkProxy->isChecked(), login = proxy && chkProxyAuth->isChecked();
    return {
        {spinTimeOut, UPDOPT_TIMEOUT, SettingRow::Byte},
        {spinRetry, UPDOPT_NOOFRETRY, SettingRow::Byte},
        {chkHttps, UPDOPT_USEHTTPS, SettingRow::Flag},
        {chkProxy, UPDOPT_USEPROXY, SettingRow::Flag, true, &VMainWidget::slotChkProxy},
        {txtProxyServer, UPDOPT_PROXYSERVER, SettingRow::Text, proxy},
        {txtProxyPort, UPDOPT_PROXYPORT, SettingRow::Number, proxy},
        {chkProxyAuth, UPDOPT_PROXYAUTH, SettingRow::Flag, proxy, &VMainWidget::slotChkProxyAuth},
        {txtProxyUser, UPDOPT_PROXYUSER, SettingRow::Text, login},
        {txtProxyPass, UPDOPT_PROXYPASS, SettingRow::Text, login},
        {chkUpdate, UPDOPT_AUTOUPDATE, SettingRow::Flag, true, &VMainWidget::slotChkUpdate},
    };
}

std::array<SettingRow, 2> UpdateSetting::alertSettings() const
{
    return {{
        {chkDefAlert, SCANOPT_ALERT, SettingRow::Flag, true, &VMainWidget::slotChkDefAlert},
        {spinDays, SCANOPT_ALERTDAYS, SettingRow::Number},
    }};
}

void UpdateSetting::connectTo(VMainWidget* window)
{
    for (const SettingRow& row : updateSettings())
        row.connectTo(window);
    for (const SettingRow& row : alertSettings())
        row.connectTo(window);
    QObject::connect(updateTime, &QTimeEdit::timeChanged, window, &VMainWidget::updateValueChanged);
    QObject::connect(btnSaveUpdateSetting, &QAbstractButton::clicked, window,
                     &VMainWidget::slotSaveUpdateSettings);
    connectClicks(window, {{btnCancelUpdateSetting, &VMainWidget::slotCancelSetting}});
}

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
    showSubPage(UpdateSettingPage);
    // Filling the page has marked it as modified.
    settingsChanged = NothingModified;
}

void VMainWidget::setUpdateSettings()
{
    vUpdate& engine = updateEngine();
    std::array<char, 2048> server{};
    if (engine.ReadConfiguration(vUpdateConf::UpdateConf, nullptr) < 0 ||
        scanner->ReadConfiguration(nullptr) < 0 || engine.GetOption(UPDOPT_UPDATESERVER, server.data()) < 0)
        return;
    OptionValue value;
    for (const SettingRow& row : updateSettings()) {
        if (row.read(engine, value))
            row.show(value);
        // The entries follow the flag that was read last, should the proxy's own be unreadable.
        if (row.control == chkProxy)
            slotChkProxy(value.flag);
    }
    showUpdateTime(engine);
    const auto alert = alertSettings();
    if (std::ranges::all_of(alert, [&](const SettingRow& row) { return row.read(*scanner, value); })) {
        for (const SettingRow& row : alert)
            row.show(value);
    }
}

void UpdateSetting::showUpdateTime(vUpdate& engine)
{
    unsigned char hour = 0, minute = 0;
    if (engine.GetOption(UPDOPT_UPDATEHOUR, &hour) == 0 &&
        engine.GetOption(UPDOPT_UPDATEMINUTE, &minute) == 0)
        updateTime->setTime(QTime(hour, minute));
}

const char* UpdateSetting::proxyError() const
{
    if (!chkProxy->isChecked())
        return nullptr;
    if (!VMainWidget::isValid_IP(txtProxyServer->text().toUtf8()) ||
        !VMainWidget::isValidPort(txtProxyPort->text().toUtf8()))
        return "Invalid proxy settings";
    if (chkProxyAuth->isChecked() && !VMainWidget::isValidProxyAuth(txtProxyUser->text().toUtf8()))
        return "Invalid proxy authentication settings";
    return nullptr;
}

void UpdateSetting::takeUpdateTime(vUpdate& engine) const
{
    auto hour = static_cast<unsigned char>(updateTime->time().hour());
    auto minute = static_cast<unsigned char>(updateTime->time().minute());
    engine.SetOption(UPDOPT_UPDATEHOUR, &hour);
    engine.SetOption(UPDOPT_UPDATEMINUTE, &minute);
}

bool VMainWidget::slotSaveUpdateSettings()
{
    if (!vupdate)
        return true;
    for (QAbstractSpinBox* spin :
         std::initializer_list<QAbstractSpinBox*>{spinDays, spinTimeOut, spinRetry, updateTime})
        spin->interpretText();
    if (const char* error = getgid() == 0 ? proxyError() : nullptr) {
        vMessage(this, tr(error), VMessageBox::Critical, okDefault);
        return false;
    }
    if (!scanner) {
        vMessage(this, tr("Invalid Vardo parameter."), VMessageBox::Critical, okDefault);
        return true;
    }
    if (scanner->ReadConfiguration(nullptr) < 0)
        return true;
    for (const SettingRow& row : updateSettings()) {
        if (row.saved)
            row.write(*vupdate);
    }
    const bool automatic = chkUpdate->isChecked();
    if (!writeUpdateCrontab(automatic ? std::optional(updateTime->time()) : std::nullopt))
        return true;
    if (automatic)
        takeUpdateTime(*vupdate);
    for (const SettingRow& row : alertSettings())
        row.write(*scanner);
    return storeUpdateSettings();
}

bool VMainWidget::storeUpdateSettings()
{
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
