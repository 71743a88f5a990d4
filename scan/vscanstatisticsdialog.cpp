#include "scan/vscanstatisticsdialog.h"

#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vpushbutton.h"
#include "loglayout/scanlog.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

using Stats = QS_InterfaceScanStatistics;

template <unsigned int Stats::*field>
unsigned int counter(const Stats& stats)
{
    return stats.*field;
}

/// Rich text, whose paragraph aligns the number right in its cell.
QString shownNumber(unsigned int number)
{
    return QStringLiteral("<p align=\"right\">") + QString::number(number) + QStringLiteral("</p>");
}

} // namespace

/// One figure: where it stands and what it tells.
struct VScanStatisticsDialog::Counter
{
    QLabel* VScanStatisticsDialog::*captionLabel;
    QLabel* VScanStatisticsDialog::*valueLabel;
    const char* name;
    int row, column;
    const char* caption;
    unsigned int (*value)(const Stats&);
};

using This = VScanStatisticsDialog;
const VScanStatisticsDialog::Counter VScanStatisticsDialog::counters[] = {
    {&This::lblDirs, &This::lblDirsValue, "lblDirs", 0, 0, "Total Number of Folder Scanned",
     counter<&Stats::scDirectories>},
    {&This::lblObjs, &This::lblObjsValue, "lblObjs", 1, 0, "Total Number of Objects Scanned",
     counter<&Stats::scFiles>},
    {&This::lblInfected, &This::lblInfectedValue, "lblInfected", 2, 0, "Total Number of Objects Infected",
     scanlog::infectedCount},
    {&This::lblSuspicious, &This::lblSuspiciousValue, "lblSuspicious", 3, 0,
     "Total Number of Objects Suspicious", counter<&Stats::scSuspicious>},
    {&This::lblCured, &This::lblCuredValue, "lblCured", 4, 0, "Total Number of Objects Disinfected",
     counter<&Stats::scCured>},
    {&This::lblCureFailed, &This::lblCureFailedValue, "lblCureFailed", 5, 0,
     "Total Number of Incurable Objects", counter<&Stats::scCureFailed>},
    {&This::lblDeleted, &This::lblDeletedValue, "lblDeleted", 0, 2, "Total Number of Objects Deleted",
     counter<&Stats::scDeleted>},
    {&This::lblRenamed, &This::lblRenamedValue, "lblRenamed", 1, 2, "Total Number of Objects Renamed",
     counter<&Stats::scRenamed>},
    {&This::lblQuarantined, &This::lblQuarantinedValue, "lblQuarantined", 2, 2,
     "Total Number of Objects Quarantined", counter<&Stats::scQuarantined>},
    {&This::lblViruses, &This::lblVirusesValue, "lblViruses", 3, 2, "Total Number of Viruses Found",
     scanlog::virusCount},
    {&This::lblEncrypted, &This::lblEncryptedValue, "lblEncrypted", 4, 2, "Total Number of Objects Encrypted",
     counter<&Stats::scEncrypted>},
    {&This::lblActionErrors, &This::lblActionErrorsValue, "lblActionErrors", 5, 2,
     "Total Number of Actions Failed", counter<&Stats::scActionError>},
};

VScanStatisticsDialog::VScanStatisticsDialog(QWidget* parent, const char* /*name*/, bool modal,
                                             Qt::WindowFlags f)
    : DialogWindow(parent, "VScanStatisticsDialog", modal, f)
{
    mainLayout = build::layout<QVBoxLayout>(0, 0, this);
    buildTitle();
    buildCounters();
    languageChange();
    init();
}

void VScanStatisticsDialog::buildTitle()
{
    titleLayout = build::layout<QHBoxLayout>(6, 6);
    lblLogo = build::logo(this, "statistics.png");
    titleLayout->addWidget(lblLogo);
    lblTitle = build::heading(this, "lblTitle");
    titleLayout->addWidget(lblTitle);
    titleSpacer = build::stretch();
    titleLayout->addItem(titleSpacer);
    mainLayout->addLayout(titleLayout);
}

void VScanStatisticsDialog::buildCounters()
{
    statLayout = build::layout<QGridLayout>(10, 10);
    for (const Counter& counter : counters) {
        QLabel* caption = this->*counter.captionLabel = plainLabel(this, counter.name);
        statLayout->addWidget(caption, counter.row, counter.column);
        QLabel* value = this->*counter.valueLabel = richLabel(this, counter.name);
        value->setObjectName(caption->objectName() + QStringLiteral("Value"));
        caption->setBuddy(value);
        statLayout->addWidget(value, counter.row, counter.column + 1);
    }
    btnOk = build::textButton(this, "btnOk");
    connect(btnOk, &VPushButton::clicked, this, &VScanStatisticsDialog::close);
    statLayout->addWidget(btnOk, 7, 0, 1, 4, Qt::AlignHCenter);
    mainLayout->addLayout(statLayout, 1);
}

void VScanStatisticsDialog::languageChange()
{
    setWindowTitle(tr("Vardo"));
    for (const Counter& counter : counters) {
        setTexts(tr, {{this->*counter.captionLabel, counter.caption}});
        (this->*counter.valueLabel)->setText(QStringLiteral("0"));
    }
    setTexts(tr, {{lblTitle, "Statistics"}, {btnOk, "&Close", "Close current window", "Alt+C"}});
}

void VScanStatisticsDialog::init()
{
    setShape({700, 360}, 3, 6);
}

void VScanStatisticsDialog::showScanStatistics(QS_InterfaceScanStatistics* stats)
{
    if (stats) {
        for (const Counter& counter : counters)
            (this->*counter.valueLabel)->setText(shownNumber(counter.value(*stats)));
    }
    exec();
}
