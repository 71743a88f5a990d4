#include "mainwindow/titlearea.h"

#include "base/paths.h"
#include "engine/qsavinfo.h"
#include "kit/builders.h"
#include "kit/fittedfont.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "mainwindow/clicks.h"
#include "mainwindow/firstline.h"
#include "mainwindow/vmainwidget.h"

#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QVBoxLayout>

#include <array>
#include <ctime>
#include <initializer_list>

namespace {

/// When the signatures were made, or zeros when nobody knows.
QString signatureDate(const char* scannerConf)
{
    qsavInfo info{};
    if (GetQSAVInfo(QS_GetSystemType(), scannerConf, info) < 0)
        return QStringLiteral("00/00/0000 00:00");
    std::array<char, 17> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%d/%m/%Y %H:%M", &info.udate);
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(length));
}

} // namespace

void TitleArea::buildOn(QWidget* window)
{
    topWidget = new QWidget(window);
    topWidget->setObjectName(QLatin1StringView("topWidget"));
    topWidget->setGeometry(124, 5, 595, 107);

    lnkFeedback = build::link(topWidget, "lnkFeedback");
    lblSeperator = build::separator(topWidget, "lblSeperator");
    lnkHelp = build::link(topWidget, "lnkHelp");
    btnMinimize = build::minimizeButton(topWidget);
    btnClose = build::closeButton(topWidget);
    lblProductName = richLabel(topWidget, "lblProductName");
    lblProductName->setFont(logoFont(lblProductName));
    lblUpdateDate = plainLabel(topWidget, "lblUpdateDate");
    lnkUpdateNow = build::link(topWidget, "lnkUpdateNow");
    lblLastScan = plainLabel(topWidget, "lblLastScan");
    lnkLastScan = build::link(topWidget, "lnkLastScan");
    // Until there is a date to show it would leave a gap at the edge. The row keeps its room without it.
    lnkLastScan->hide();
    QSizePolicy oneLine(QSizePolicy::Preferred, QSizePolicy::Fixed);
    oneLine.setRetainSizeWhenHidden(true);
    lblLastScan->setSizePolicy(oneLine);

    auto* rows = new QVBoxLayout(topWidget);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->addLayout(build::row(2, {nullptr, lnkFeedback, lblSeperator, lnkHelp, btnMinimize, btnClose}));
    rows->addWidget(lblProductName);
    rows->addLayout(build::row(2, {nullptr, lblUpdateDate, lnkUpdateNow}));
    rows->addLayout(build::row(2, {nullptr, lblLastScan, lnkLastScan}));
}

void TitleArea::languageChange()
{
    setTexts(VMainWidget::tr, {
                                  {btnMinimize, nullptr, "Minimize"},
                                  {btnClose, nullptr, "Close"},
                                  {lnkFeedback, "Feedback", "Send your feedback", "Alt+F"},
                                  {lblSeperator, "|"},
                                  {lnkHelp, "Help", "Shows help menu", "F1"},
                                  {lblUpdateDate, "Date of virus signature"},
                                  {lnkUpdateNow, nullptr, "Start the update process"},
                                  {lblLastScan, "Last computer scan"},
                              });
}

void TitleArea::connectTo(VMainWidget* window)
{
    QObject::connect(btnClose, &QAbstractButton::clicked, window, &QWidget::close);
    connectClicks(window, {
                              {btnMinimize, &VMainWidget::showMinimized},
                              {lnkHelp, &VMainWidget::showHelpMenu},
                              {lnkFeedback, &VMainWidget::showFeedback},
                              {lnkUpdateNow, &VMainWidget::showUpdateDialog},
                              {lnkLastScan, &VMainWidget::slotFullScan},
                          });
}

bool VMainWidget::showLastScan()
{
    const std::optional<QString> date = firstLine(paths::lastScan, Links::Refuse);
    if (!date)
        return false;
    lnkLastScan->setText(*date);
    lnkLastScan->setAccessibleName(lblLastScan->text() + u' ' + *date);
    lnkLastScan->setShortcut(QKeySequence(QStringLiteral("Ctrl+L")));
    lblLastScan->show();
    lnkLastScan->show();
    return true;
}

void VMainWidget::showStatus()
{
    const QString date = signatureDate(scannerConf ? scannerConf->c_str() : nullptr);
    lnkUpdateNow->setText(date);
    lnkUpdateNow->setAccessibleName(lblUpdateDate->text() + u' ' + date);
    lnkUpdateNow->setShortcut(QKeySequence(QStringLiteral("Ctrl+U")));
    lblLastUpdatedDate->setText(date);

    const std::optional<QString> version = firstLine(paths::versionFile, Links::Follow);
    if (!version)
        return;
    // The difference of the fonts brings the version down to the size of the window's normal text.
    const int difference = lnkUpdateNow->font().pointSize() - lblProductName->font().pointSize();
    const QString size = version->isEmpty() ? QStringLiteral("-4") : QString::number(difference);
    const QString shown = version->isEmpty() ? QStringLiteral("0") : version->toHtmlEscaped();
    lblProductName->setText(QLatin1StringView("<p align=\"right\">") + tr("Vardo for Linux") +
                            QLatin1StringView(" <font size=\"") + size + QLatin1StringView("\">( ") + shown +
                            QLatin1StringView(" )</font></p>"));
}
