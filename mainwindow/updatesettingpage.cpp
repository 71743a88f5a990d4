#include "mainwindow/vmainwidget.h"

#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/vcheckbox.h"
#include "kit/vpushbutton.h"

#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTimeEdit>

namespace {

constexpr QSize spinSize(46, 26);
constexpr int noLimit = 32767;

QLineEdit* proxyEntry(QWidget* parent, const char* name, int maxLength)
{
    return build::entry(parent, name, "140x25text.png", {140, 25}, maxLength);
}

QSpinBox* spinBox(QWidget* parent, const char* name, int minimum, int maximum, int value)
{
    auto* spin = new QSpinBox(parent);
    spin->setObjectName(QLatin1StringView(name));
    spin->setFixedSize(spinSize);
    spin->setRange(minimum, maximum);
    spin->setValue(value);
    // A number typed beyond the range becomes the nearest one, not the one before.
    spin->setCorrectionMode(QAbstractSpinBox::CorrectToNearestValue);
    return spin;
}

} // namespace

void VMainWidget::buildUpdateSettingPage(QWidget* page)
{
    chkUpdate = new VCheckBox(page, "chkUpdate");
    chkUpdate->setChecked(true);
    updateTime = new QTimeEdit(QTime(9, 30), page);
    updateTime->setObjectName(QLatin1StringView("updateTime"));
    updateTime->setFixedSize(70, 26);
    updateTime->setDisplayFormat(QStringLiteral("hh:mm"));
    chkDefAlert = new VCheckBox(page, "chkDefAlert");
    chkDefAlert->setChecked(true);
    chkDefAlert->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    spinDays = spinBox(page, "spinDays", 1, 99, 15);
    lblOldDays = plainLabel(page, "lblOldDays");
    btnSaveUpdateSetting = build::textButton(page, "btnSaveUpdateSetting");
    btnCancelUpdateSetting = build::textButton(page, "btnCancelUpdateSetting");

    auto* time = new QHBoxLayout;
    time->setSpacing(4);
    time->addWidget(chkUpdate);
    time->addWidget(updateTime);
    time->addItem(build::stretch(60));
    auto* alert = new QHBoxLayout;
    alert->setSpacing(5);
    alert->addWidget(chkDefAlert);
    alert->addWidget(spinDays);
    alert->addWidget(lblOldDays, 1);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addItem(build::stretch());
    buttons->addWidget(btnSaveUpdateSetting);
    buttons->addWidget(btnCancelUpdateSetting);

    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(20, 20, 20, 20);
    grid->setSpacing(10);
    grid->addLayout(time, 0, 0, 1, 2);
    grid->addLayout(alert, 1, 0, 1, 2);
    grid->addWidget(buildConnectionGroup(page), 2, 0);
    grid->addWidget(buildProxyGroup(page), 2, 1);
    grid->addLayout(buttons, 3, 0, 1, 2);
}

QWidget* VMainWidget::buildConnectionGroup(QWidget* page)
{
    grpConnectionSetting = new QGroupBox(page);
    grpConnectionSetting->setObjectName(QLatin1StringView("grpConnectionSetting"));
    lblConnTimeOut = plainLabel(grpConnectionSetting, "lblConnTimeOut");
    spinTimeOut = spinBox(grpConnectionSetting, "spinTimeOut", 15, 90, 15);
    lblConnRtry = plainLabel(grpConnectionSetting, "lblConnRtry");
    spinRetry = spinBox(grpConnectionSetting, "spinRetry", 1, 5, 3);
    chkHttps = new VCheckBox(grpConnectionSetting, "chkHttps");

    auto* grid = new QGridLayout(grpConnectionSetting);
    grid->setContentsMargins(build::groupMargins(grpConnectionSetting, 20));
    grid->setSpacing(6);
    grid->addWidget(lblConnTimeOut, 0, 0, Qt::AlignLeft);
    grid->addWidget(spinTimeOut, 0, 1, Qt::AlignLeft);
    grid->addWidget(lblConnRtry, 1, 0, Qt::AlignLeft);
    grid->addWidget(spinRetry, 1, 1, Qt::AlignLeft);
    grid->addWidget(chkHttps, 2, 0, 1, 2, Qt::AlignLeft);
    grid->setRowStretch(3, 1);
    return grpConnectionSetting;
}

QWidget* VMainWidget::buildProxyGroup(QWidget* page)
{
    grpProxy = new QGroupBox(page);
    grpProxy->setObjectName(QLatin1StringView("grpProxy"));
    chkProxy = new VCheckBox(grpProxy, "chkProxy");
    lblIP = plainLabel(grpProxy, "lblIP");
    txtProxyServer = proxyEntry(grpProxy, "txtProxyServer", 15);
    lblPort = plainLabel(grpProxy, "lblPort");
    txtProxyPort = proxyEntry(grpProxy, "txtProxyPort", 8);
    chkProxyAuth = new VCheckBox(grpProxy, "chkProxyAuth");
    buildProxyAuthGroup(grpProxy);

    auto* grid = new QGridLayout(grpProxy);
    grid->setContentsMargins(build::groupMargins(grpProxy, 20));
    grid->setSpacing(4);
    grid->addWidget(chkProxy, 0, 0, 1, 2, Qt::AlignLeft);
    grid->addWidget(lblIP, 1, 0, Qt::AlignLeft);
    grid->addWidget(txtProxyServer, 1, 1, Qt::AlignRight);
    grid->addWidget(lblPort, 2, 0, Qt::AlignLeft);
    grid->addWidget(txtProxyPort, 2, 1, Qt::AlignRight);
    grid->addWidget(chkProxyAuth, 3, 0, 1, 2, Qt::AlignLeft);
    grid->addWidget(grpProxyAuth, 4, 0, 1, 2);
    grid->setRowStretch(5, 1);
    return grpProxy;
}

void VMainWidget::buildProxyAuthGroup(QWidget* group)
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

    auto* grid = new QGridLayout(grpProxyAuth);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(4);
    grid->addWidget(lblName, 0, 0);
    grid->addItem(build::stretch(160), 0, 1);
    grid->addWidget(txtProxyUser, 0, 2);
    grid->addWidget(lblPassword, 1, 0);
    grid->addWidget(txtProxyPass, 1, 2);
}
