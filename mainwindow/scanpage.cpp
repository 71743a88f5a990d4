#include "mainwindow/vmainwidget.h"

#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/vlinkbutton.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

void VMainWidget::buildScanPage(QWidget* page)
{
    constexpr QSize iconSize(50, 50);
    lnkSelect = build::pictureLink(page, "lnkSelect", "file_folder_scan.png", iconSize);
    lnkScanHome = build::pictureLink(page, "lnkScanHome", "home_scan.png", iconSize);
    lnkScanEntire = build::pictureLink(page, "lnkScanEntire", "computer_scan.png", iconSize);
    lnkScanMem = build::pictureLink(page, "lnkScanMem", "process_scan3.png", iconSize);
    lblLine = plainLabel(page, "lblLine");
    lblLine->setPixmap(vardoPixmap(QStringLiteral("line.png")));
    lnkScanSetting = build::link(page, "lnkScanSetting");
    lblSeperator_2 = build::separator(page, "lblSeperator_2");
    lnkViewScanLog = build::link(page, "lnkViewScanLog");
    lblSeperator_24 = build::separator(page, "lblSeperator_24");
    lnkQuarantine = build::link(page, "lnkQuarantine");

    auto* rows = new QVBoxLayout(page);
    rows->setContentsMargins(20, 20, 20, 20);
    rows->setSpacing(6);
    for (QWidget* widget :
         std::initializer_list<QWidget*>{lnkSelect, lnkScanHome, lnkScanEntire, lnkScanMem, lblLine})
        rows->addWidget(widget);
    auto* links = new QHBoxLayout;
    for (QWidget* widget : std::initializer_list<QWidget*>{lnkScanSetting, lblSeperator_2, lnkViewScanLog,
                                                           lblSeperator_24, lnkQuarantine})
        links->addWidget(widget);
    links->addItem(build::stretch());
    rows->addLayout(links);
}
