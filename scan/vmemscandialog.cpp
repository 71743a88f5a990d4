#include "scan/vmemscandialog.h"

#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/framelessflags.h"
#include "kit/labels.h"
#include "kit/texts.h"
#include "kit/vpushbutton.h"
#include "notify/notify.h"
#include "scan/progressmovie.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

namespace {

// Shared by the worker and the dialog.
std::atomic<bool> Running = false;    ///< The worker is busy.
std::atomic<bool> scanCancel = false; ///< The user wants the scan to stop; never taken back.
std::atomic<bool> scanError = false;  ///< What the dialog ends with: true after a scan without failure.

/// No window has a place to say that scans will not look for everything.
void tellWhatIsMissing(Vardo& scanner)
{
    const std::string leftOut = scanner.ScanError();
    if (leftOut.empty())
        return;
    std::fprintf(stderr, "vardogui: %s\n", leftOut.c_str());
    notify::tell({"Some signatures are not in use", leftOut, true, {}, {}});
}

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
    if (cData.scanner->VardoAVInit(cData.qsavConf, nullptr, true) >= 0) {
        tellWhatIsMissing(*cData.scanner);
        return true;
    }
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
    : DialogWindow(parent, name, modal, f, false)
{
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
    mainLayout = build::layout<QVBoxLayout>(5, 5, this);
    lblLogo = build::picture(this, "lblLogo", "Vardo_for_linux1.png", {208, 50});
    mainLayout->addWidget(lblLogo);
    scanLayout = build::layout<QGridLayout>(10, 10);
    lblProgress = plainLabel(this, "lblProgress");
    lblProgress->setFixedSize(70, 70);
    scanLayout->addWidget(lblProgress, 0, 0, 2, 1);
    lblAVInit = plainLabel(this, "lblAVInit");
    lblAVInit->setAlignment(Qt::AlignCenter);
    lblAVInit->setWordWrap(true);
    scanLayout->addWidget(lblAVInit, 0, 1, 1, 2);
    scanLayout->addItem(build::stretch(10), 1, 1);
    btnStop = build::textButton(this, "btnStop");
    connect(btnStop, &VPushButton::clicked, this, &VMemScanDialog::stopScan);
    scanLayout->addWidget(btnStop, 1, 2);
    mainLayout->addLayout(scanLayout);
}

void VMemScanDialog::languageChange()
{
    setWindowTitle(tr("Vardo"));
    setTexts(tr, {{btnStop, "&Cancel", "Stop memory scanning", "Alt+C"}});
}

void VMemScanDialog::init()
{
    setShape({400, 155}, 5, 10);
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
    connect(
        t, &memScanThread::statusChanged, this, [this] { accessible::tellChanged({lblAVInit}); },
        Qt::QueuedConnection);
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
