#include "scan/vmemscandialog.h"

#include "kit/backgrounds.h"
#include "kit/framelessflags.h"
#include "kit/imagecollection.h"
#include "kit/labels.h"
#include "kit/vpushbutton.h"
#include "scan/progressmovie.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QKeySequence>
#include <QLabel>
#include <QVBoxLayout>

#include <atomic>
#include <memory>

namespace {

// Shared by the worker and the dialog.
std::atomic<bool> Running = false;    ///< The worker is busy.
std::atomic<bool> scanCancel = false; ///< The user wants the scan to stop; never taken back.
std::atomic<bool> scanError = false;  ///< What the dialog ends with: true after a scan without failure.

} // namespace

memScanThread::memScanThread(ThreadDataType data)
    : cData(data)
{
}

void memScanThread::run()
{
    if (loadEngine() && scanWanted()) {
        emit scanStarted();
        ContextDataType sdata = {cData.form->lblProgress};
        const int ret = cData.scanner->DoMemoryScan(VMemScanDialog::MemScanCallBack, &sdata, true);
        scanError = ret >= 0;
        emit scanFinished();
    }
    Running = false;
    emit workDone();
}

bool memScanThread::loadEngine()
{
    emit statusChanged(tr("Initializing AV! Wait..."));
    if (cData.scanner->VardoAVInit(cData.qsavConf, nullptr, true) >= 0)
        return true;
    emit statusChanged(tr("ERROR!!! Initialization Failed. You will not be able to perform scan functions."));
    return false;
}

/// False also when the setting can't be read: the program then goes on without the scan.
bool memScanThread::scanWanted()
{
    unsigned char mScan = 1;
    return cData.scanner->GetOption(SCANOPT_MEMSCAN, &mScan) >= 0 && mScan != 0;
}

VMemScanDialog::VMemScanDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags f)
    : RoundedWindow<QDialog>(background::dialog, false, parent, f)
{
    setObjectName(QLatin1StringView(name));
    setModal(modal);
    build();
    languageChange();
    init();
}

VMemScanDialog::~VMemScanDialog()
{
    if (t)
        t->wait();
    delete t;
}

void VMemScanDialog::build()
{
    mainLayout = new QVBoxLayout(this);
    mainLayout->setContentsMargins(5, 5, 5, 5);
    mainLayout->setSpacing(5);
    lblLogo = plainLabel(this, "lblLogo");
    lblLogo->setFixedSize(208, 50);
    lblLogo->setPixmap(vardoPixmap(QStringLiteral("Vardo_for_linux1.png")));
    mainLayout->addWidget(lblLogo);
    scanLayout = new QGridLayout;
    scanLayout->setContentsMargins(10, 10, 10, 10);
    scanLayout->setSpacing(10);
    lblProgress = plainLabel(this, "lblProgress");
    lblProgress->setFixedSize(70, 70);
    scanLayout->addWidget(lblProgress, 0, 0, 2, 1);
    lblAVInit = plainLabel(this, "lblAVInit");
    lblAVInit->setAlignment(Qt::AlignCenter);
    lblAVInit->setWordWrap(true);
    scanLayout->addWidget(lblAVInit, 0, 1, 1, 2);
    scanLayout->addItem(new QSpacerItem(10, 5, QSizePolicy::Expanding, QSizePolicy::Minimum), 1, 1);
    btnStop = new VPushButton(QStringLiteral("button"), background::dialog, false, this, "btnStop");
    btnStop->setFixedSize(80, 32);
    connect(btnStop, &VPushButton::clicked, this, &VMemScanDialog::stopScan);
    scanLayout->addWidget(btnStop, 1, 2);
    mainLayout->addLayout(scanLayout);
}

void VMemScanDialog::languageChange()
{
    setWindowTitle(tr("Vardo"));
    btnStop->setText(tr("&Cancel"));
    btnStop->setShortcut(QKeySequence(tr("Alt+C")));
    btnStop->setToolTip(tr("Stop memory scanning"));
}

void VMemScanDialog::init()
{
    setFixedSize(400, 155);
    makeWidgetRound(5, 10);
    setProgressMovie(lblProgress, movie);
}

void VMemScanDialog::ScanMemory(const char* qsavConf, Vardo* scanner)
{
    movie.setPaused(false);
    btnStop->hide();
    if (!qsavConf || !scanner) {
        lblAVInit->setText(tr("Error! Invalid parameters"));
        return;
    }
    t = new memScanThread({qsavConf, scanner, this});
    connect(t, &memScanThread::statusChanged, lblAVInit, &QLabel::setText, Qt::QueuedConnection);
    connect(t, &memScanThread::scanStarted, this, &VMemScanDialog::showScanStarted, Qt::QueuedConnection);
    connect(t, &memScanThread::scanFinished, this, &VMemScanDialog::showScanFinished, Qt::QueuedConnection);
    connect(t, &memScanThread::workDone, this, &VMemScanDialog::close, Qt::QueuedConnection);
    Running = true;
    t->start();
}

void VMemScanDialog::showScanStarted()
{
    lblAVInit->setText(tr("Scanning Memory"));
    btnStop->show();
}

void VMemScanDialog::showScanFinished()
{
    movie.setPaused(true);
    btnStop->setText(tr("&Close"));
}

/// What is found at start-up is dealt with by the saved options alone; nothing is shown or logged.
int VMemScanDialog::MemScanCallBack(const char* /*objName*/, int /*objectType*/, int /*statusCode*/,
                                    const char* /*virus*/, const char* /*remark*/,
                                    QS_ResultContextData* /*cdata*/)
{
    return scanCancel ? CALLBACK_STOP : CALLBACK_CONTINUE;
}

void VMemScanDialog::stopScan()
{
    scanCancel = true;
}

/// Escape closes nothing here.
void VMemScanDialog::reject()
{
}

void VMemScanDialog::closeEvent(QCloseEvent* ce)
{
    if (Running) {
        ce->ignore();
        return;
    }
    ce->accept();
    done(scanError);
}

int ScanMemory(const char* qsavConf, Vardo* vardo)
{
    const auto dlgMemScan =
        std::make_unique<VMemScanDialog>(nullptr, "AVInitializer", false, FRAMELESS_FLAGS);
    dlgMemScan->ScanMemory(qsavConf, vardo);
    dlgMemScan->exec();
    return vardo && vardo->VardoIsAVLoaded() ? 0 : -1;
}
