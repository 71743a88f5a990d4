#include "kit/builders.h"
#include "kit/fittedfont.h"
#include "kit/labels.h"
#include "kit/vlinkbutton.h"
#include "kit/vpushbutton.h"
#include "mainwindow/firstline.h"
#include "mainwindow/vmainwidget.h"

#include "base/paths.h"
#include "engine/qsavinfo.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <array>
#include <ctime>
#include <initializer_list>

namespace {

QHBoxLayout* rightAligned(std::initializer_list<QWidget*> widgets)
{
    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    row->addItem(build::stretch());
    for (QWidget* widget : widgets)
        row->addWidget(widget);
    return row;
}

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

void VMainWidget::buildTitleArea()
{
    topWidget = new QWidget(this);
    topWidget->setObjectName(QLatin1StringView("topWidget"));
    topWidget->setGeometry(124, 5, 595, 107);

    lnkFeedback = build::link(topWidget, "lnkFeedback");
    lblSeperator = build::separator(topWidget, "lblSeperator");
    lnkHelp = build::link(topWidget, "lnkHelp");
    btnMinimize = build::pictureButton(topWidget, "btnMinimize", "minimize", {23, 23}, false);
    btnClose = build::pictureButton(topWidget, "btnClose", "close", {23, 23}, false);
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
    rows->addLayout(rightAligned({lnkFeedback, lblSeperator, lnkHelp, btnMinimize, btnClose}));
    rows->addWidget(lblProductName);
    rows->addLayout(rightAligned({lblUpdateDate, lnkUpdateNow}));
    rows->addLayout(rightAligned({lblLastScan, lnkLastScan}));
}

void VMainWidget::showStatus()
{
    const QString date = signatureDate(scannerConf ? scannerConf->c_str() : nullptr);
    lnkUpdateNow->setText(date);
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
