#include "scan/vprogresswidget.h"

#include "kit/accessible.h"
#include "kit/backgrounds.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vtextpane.h"
#include "scan/progressmovie.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QLabel>
#include <QTimer>
#include <QTimerEvent>
#include <QVBoxLayout>

namespace {

constexpr int windowWidth = 560;
constexpr int plainHeight = 236, plainRound = 20;
constexpr int detailHeight = 390, detailRound = 9;
constexpr int horizontalRound = 5;
constexpr int pictureInterval = 16; // milliseconds: 60 pictures a second

// Whether the details are shown. It outlives the window on purpose: after a scan that ended with the details
// shown, the next window opens without them, its first click changes nothing and its second shows them.
bool showDetail = false;

} // namespace

bool VProgressWidget::cancelScan = false;
QApplication* VProgressWidget::qapp = nullptr;

VProgressWidget::VProgressWidget(QWidget* parent, const char* name, Qt::WindowFlags f)
    : RoundedWindow<QWidget>(background::dialog, true, parent, f)
{
    setObjectName(QStringLiteral("VProgressWidget"));
    mainLayout = build::layout<QVBoxLayout>(6, 0, this);
    buildTitle();
    buildCentre();
    connectWidgets();
    languageChange();
    lblTitle->setText(QString::fromUtf8(name));
    setAccessibleName(lblTitle->text());
    init();
}

VProgressWidget::~VProgressWidget()
{
    delete elapsedTimer;
    qapp = nullptr;
}

void VProgressWidget::buildTitle()
{
    titleLayout = build::layout<QGridLayout>(0, 6);
    lblLogo = build::logo(this, "progress.png");
    titleLayout->addWidget(lblLogo, 0, 0, 2, 1, Qt::AlignCenter);
    lblTitle = build::heading(this, "lblTitle");
    titleLayout->addWidget(lblTitle, 0, 1, 2, 1, Qt::AlignCenter);
    hSpacer = build::stretch(6);
    titleLayout->addItem(hSpacer, 1, 2);
    btnMinimize = build::minimizeButton(this);
    titleLayout->addWidget(btnMinimize, 0, 3);
    vSpacer = new QSpacerItem(3, 24, QSizePolicy::Minimum, QSizePolicy::Expanding);
    titleLayout->addItem(vSpacer, 1, 3);
    btnClose = build::closeButton(this);
    titleLayout->addWidget(btnClose, 0, 4);
    mainLayout->addLayout(titleLayout);
}

void VProgressWidget::buildCentre()
{
    centerLayout = build::layout<QGridLayout>(4, 10);
    centerLayout->setColumnStretch(1, 1);
    lblAction = richLabel(this, "lblAction");
    centerLayout->addWidget(lblAction, 0, 0);
    lblActionValue = plainLabel(this, "lblActionValue");
    centerLayout->addWidget(lblActionValue, 0, 1);
    lblTimeElapsed = richLabel(this, "lblTimeElapsed");
    centerLayout->addWidget(lblTimeElapsed, 0, 2, 1, 2);
    lblTime = plainLabel(this, "lblTime");
    centerLayout->addWidget(lblTime, 0, 4, 1, 2);
    buildCounter(1, lblDirScanCnt, lblDirScanCntValue, "lblDirScanCnt");
    buildCounter(2, lblFileScanCnt, lblFileScanCntValue, "lblFileScanCnt");
    buildCounter(3, lblVirusCnt, lblVirusCntValue, "lblVirusCnt");
    build::setTextColour(lblVirusCntValue, QColor(255, 0, 0));
    lblProgress = plainLabel(this, "lblProgress");
    lblProgress->setFixedSize(70, 70);
    centerLayout->addWidget(lblProgress, 1, 2, 3, 1);
    accessible::setCaptions({{lblAction, lblActionValue},
                             {lblTimeElapsed, lblTime},
                             {lblDirScanCnt, lblDirScanCntValue},
                             {lblFileScanCnt, lblFileScanCntValue},
                             {lblVirusCnt, lblVirusCntValue}});
    buildControls();
    mainLayout->addLayout(centerLayout);
}

void VProgressWidget::buildCounter(int row, QLabel*& caption, QLabel*& value, const char* name)
{
    caption = plainLabel(this, name);
    centerLayout->addWidget(caption, row, 0);
    value = plainLabel(this, name);
    value->setObjectName(caption->objectName() + QStringLiteral("Value"));
    // A label of fixed size does not lay the window out anew for each number.
    value->setFixedSize(fontMetrics().size(Qt::TextSingleLine, QStringLiteral("4294967295")));
    centerLayout->addWidget(value, row, 1);
}

void VProgressWidget::buildControls()
{
    spacer = new QSpacerItem(1, 1, QSizePolicy::Minimum, QSizePolicy::Expanding);
    centerLayout->addItem(spacer, 4, 5);
    lnkDetail = build::link(this, "lnkDetail");
    lnkDetail->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    centerLayout->addWidget(lnkDetail, 5, 0);
    btnStop = build::textButton(this, "btnStop");
    centerLayout->addWidget(btnStop, 5, 1, 1, 5, Qt::AlignRight);
    txtDetails = new VTextPane(this, "txtDetails");
    txtDetails->setFixedHeight(144);
    txtDetails->setPalette(contentPalette());
    txtDetails->setAccessibleName(tr("Details"));
    centerLayout->addWidget(txtDetails, 6, 0, 1, 6);
}

void VProgressWidget::connectWidgets()
{
    connect(btnMinimize, &VPushButton::clicked, this, &VProgressWidget::showMinimized);
    connect(btnClose, &VPushButton::clicked, this, &VProgressWidget::close);
    connect(btnStop, &VPushButton::clicked, this, &VProgressWidget::stopScan);
    connect(lnkDetail, &VLinkButton::clicked, this, &VProgressWidget::slotShowHideDetail);
}

void VProgressWidget::languageChange()
{
    setWindowTitle(tr("Vardo"));
    setTexts(tr, {
                     {btnMinimize, nullptr, "Minimize"},
                     {btnClose, nullptr, "Close"},
                     {lblDirScanCnt, "Total Folders Scanned"},
                     {lblFileScanCnt, "Total Objects Scanned"},
                     {lblVirusCnt, "Total Objects Infected"},
                     {lnkDetail, "Show Detail <<", "Toggles the scanning details", "Alt+D"},
                     {btnStop, "&Cancel", "Stop scanning process", "Alt+C"},
                 });
    lblTimeElapsed->setText(QStringLiteral("<b>") + tr("Time elapsed") + QStringLiteral("</b>"));
    lblTime->setText(QStringLiteral("00:00:00"));
    for (QLabel* value : {lblDirScanCntValue, lblFileScanCntValue, lblVirusCntValue})
        value->setText(QStringLiteral("0"));
}

void VProgressWidget::init()
{
    txtDetails->hide();
    setHeight(plainHeight, plainRound);
    setProgressMovie(lblProgress, movie);
    cancelScan = false;
    elapsedTimer = new QTimer(this);
    connect(elapsedTimer, &QTimer::timeout, this, &VProgressWidget::slotScanTimer);
}

void VProgressWidget::setHeight(int height, int yRnd)
{
    setFixedSize(windowWidth, height);
    makeWidgetRound(horizontalRound, yRnd);
}

/// Counts the ticks that were delivered, not the clock's time: it stands still while the engine is silent.
void VProgressWidget::slotScanTimer()
{
    if (++timerSeconds == 60) {
        timerSeconds = 0;
        ++timerMinutes;
    }
    if (timerMinutes == 60) {
        timerMinutes = 0;
        ++timerHours;
    }
    lblTime->setText(QString::asprintf("%02u:%02u:%02u", timerHours, timerMinutes, timerSeconds));
    accessible::tellChanged(
        {lblActionValue, lblTime, lblDirScanCntValue, lblFileScanCntValue, lblVirusCntValue});
    QApplication::processEvents();
}

void VProgressWidget::slotShowHideDetail()
{
    txtDetails->setVisible(!showDetail);
    setTexts(tr, {{lnkDetail, showDetail ? "Show Detail <<" : "Hide Detail >>", nullptr, "Alt+D"}});
    if (showDetail)
        setHeight(plainHeight, plainRound);
    else
        setHeight(detailHeight, detailRound);
    showDetail = !showDetail;
    QApplication::processEvents();
}

void VProgressWidget::stopScan()
{
    if (scanRunning)
        cancelScan = true;
    else
        close();
}

void VProgressWidget::closeEvent(QCloseEvent* ce)
{
    if (!scanRunning) {
        ce->accept();
        return;
    }
    // The window stays for the rest of the scan and its closing dialogs, whatever the answer.
    ce->ignore();
    if (vAsk(this, tr("Scanning is in progress. Do you want to stop scan process?")))
        stopScan();
}

/// Paints at most 60 times a second. The counters change with each object, and a picture of them costs more
/// than all the rest that the window does for it.
bool VProgressWidget::event(QEvent* event)
{
    if (event->type() != QEvent::UpdateRequest)
        return RoundedWindow<QWidget>::event(event);
    if (lastPicture.isValid() && !lastPicture.hasExpired(pictureInterval)) {
        // Until the request is served, further changes only mark what is to be painted.
        if (!pictureTimer.isActive())
            pictureTimer.start(pictureInterval, Qt::PreciseTimer, this);
        return true;
    }
    lastPicture.start();
    return RoundedWindow<QWidget>::event(event);
}

void VProgressWidget::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != pictureTimer.timerId()) {
        RoundedWindow<QWidget>::timerEvent(event);
        return;
    }
    pictureTimer.stop();
    lastPicture.invalidate();
    QEvent request(QEvent::UpdateRequest);
    QApplication::sendEvent(this, &request);
}
