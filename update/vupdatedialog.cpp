#include "update/vupdatedialog.h"

#include "base/paths.h"
#include "engine/interface.h"
#include "engine/update.h"
#include "kit/accessible.h"
#include "kit/builders.h"
#include "kit/labels.h"
#include "kit/palettes.h"
#include "kit/texts.h"
#include "kit/vlinkbutton.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "kit/vtextpane.h"

#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace {

constexpr int windowWidth = 470;
constexpr int plainHeight = 196, plainRound = 14;
constexpr int detailHeight = 350, detailRound = 8;
constexpr int horizontalRound = 6;

constexpr unsigned long pictureInterval = 20; // milliseconds

// Shared by the worker and the dialog.
bool showDetails = false;              ///< The details pane is shown.
std::atomic<bool> isCancelled = false; ///< The user asked to stop.
bool isUpdating = false;               ///< The worker is running.
/// The engine reported failure. Never taken back: whatever ends later in this process counts as failed, too.
std::atomic<bool> updateFail = false;

/// What is left of a number where only its low 32 bits count.
int low32(long long number)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

} // namespace

updateThread::updateThread(AVUpdateCallBack callback, AVUpdateContextData context)
    : updateCallBack(callback)
    , updateContextData(context)
{
}

void updateThread::run()
{
    vUpdate update(paths::qsavConf, paths::updatesConf);
    if (update.ReadConfiguration(vUpdateConf::PathConf, nullptr) < 0 ||
        update.ReadConfiguration(vUpdateConf::UpdateConf, nullptr) < 0) {
        VUpdateDialog::updateFinish(VUpdateDialog::NoConfiguration, updateContextData);
        return;
    }
    int code = VUpdateDialog::Thrown;
    try {
        code = update.DoUpdate(updateCallBack, updateContextData, nullptr);
        if (updateFail)
            code = VUpdateDialog::Failed;
    } catch (const char*) {
        // The text is not for users.
    }
    VUpdateDialog::updateFinish(code, updateContextData);
}

VUpdateDialog::VUpdateDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags)
    : DialogWindow(parent, name ? name : "VUpdateDialog", modal, flags)
{
    mainLayout = build::layout<QVBoxLayout>(0, 0, this);
    buildTitle();
    buildCentre();
    languageChange();
    connect(lnkShow, &VLinkButton::clicked, this, &VUpdateDialog::slotShowDetails);
    connect(btnClose, &VPushButton::clicked, this, &VUpdateDialog::slotClosed);
    connect(btnStop, &VPushButton::clicked, this, &VUpdateDialog::slotClosed);
    connect(this, &VUpdateDialog::signalFinish, this, &VUpdateDialog::slotFinish);
    init();
}

VUpdateDialog::~VUpdateDialog()
{
    while (!t->wait(pictureInterval))
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    delete t;
}

void VUpdateDialog::buildTitle()
{
    titleLayout = build::layout<QGridLayout>(6, 6);
    lblLogo = build::logo(this, "update.png");
    titleLayout->addWidget(lblLogo, 0, 0, 2, 1, Qt::AlignCenter);
    lblTitle = build::heading(this, "lblTitle");
    titleLayout->addWidget(lblTitle, 0, 1, 2, 1, Qt::AlignCenter);
    hSpacer = build::stretch(6);
    titleLayout->addItem(hSpacer, 1, 2);
    btnClose = build::closeButton(this);
    titleLayout->addWidget(btnClose, 0, 3);
    vSpacer = new QSpacerItem(3, 19, QSizePolicy::Minimum, QSizePolicy::Fixed);
    titleLayout->addItem(vSpacer, 1, 3);
    mainLayout->addLayout(titleLayout);
}

void VUpdateDialog::buildCentre()
{
    centerLayout = build::layout<QGridLayout>(10, 10);
    lblServer = plainLabel(this, "lblServer");
    centerLayout->addWidget(lblServer, 0, 0, 1, 6);
    dlProgress = new QProgressBar(this);
    dlProgress->setObjectName(QStringLiteral("dlProgress"));
    dlProgress->setFixedSize(260, 26);
    dlProgress->setAlignment(Qt::AlignCenter);
    dlProgress->setAccessibleName(tr("Update"));
    centerLayout->addWidget(dlProgress, 1, 0, 1, 2);
    lblByteProgress = plainLabel(this, "lblByteProgress");
    centerLayout->addWidget(lblByteProgress, 1, 2, 1, 4);
    mainSpacer = new QSpacerItem(3, 30, QSizePolicy::Minimum, QSizePolicy::Expanding);
    centerLayout->addItem(mainSpacer, 2, 2);
    lnkShow = build::link(this, "lnkShow");
    lnkShow->setEnabled(false);
    centerLayout->addWidget(lnkShow, 3, 0, Qt::AlignLeft);
    spacer = new QSpacerItem(10, 5, QSizePolicy::Expanding, QSizePolicy::Minimum);
    centerLayout->addItem(spacer, 3, 4);
    btnStop = build::textButton(this, "btnStop");
    btnStop->setDefault(true);
    centerLayout->addWidget(btnStop, 3, 5);
    txtUpdateDetails = new VTextPane(this, "txtUpdateDetails");
    txtUpdateDetails->setFixedSize(450, 144);
    txtUpdateDetails->setPalette(contentPalette());
    txtUpdateDetails->setAccessibleName(tr("Details"));
    centerLayout->addWidget(txtUpdateDetails, 4, 0, 1, 6);
    mainLayout->addLayout(centerLayout);
}

void VUpdateDialog::languageChange()
{
    setWindowTitle(tr("Update"));
    setTexts(tr, {
                     {lnkShow, "Show Detail <<", "Toggles to show and hide details", "Alt+D"},
                     {btnStop, "&Stop", "Stop update process", "Alt+S"},
                     {btnClose, nullptr, "Close"},
                     {lblServer, "Downloading AntiVirus and Anti-Spyware Databases..."},
                     {lblTitle, "Update"},
                 });
}

void VUpdateDialog::init()
{
    showDetails = isCancelled = isUpdating = false;
    t = new updateThread(&VUpdateDialog::UpdateCallBack, this);
    txtUpdateDetails->hide();
    setShape({windowWidth, plainHeight}, horizontalRound, plainRound);
    lblByteProgress->setText(QStringLiteral("0/0") + tr("KB"));
    slotUpdate();
}

void VUpdateDialog::slotUpdate()
{
    showDetails = isCancelled = isUpdating = false;
    if (!isVisible())
        show();
    txtUpdateDetails->clear();
    dlProgress->setValue(0);
    lnkShow->setEnabled(true);
    isUpdating = true;
    t->start();
}

int VUpdateDialog::exec()
{
    return finished ? *finished : DialogWindow::exec();
}

void VUpdateDialog::later(std::function<void()> show)
{
    QMetaObject::invokeMethod(this, std::move(show), Qt::QueuedConnection);
}

int VUpdateDialog::UpdateCallBack(int code, const char* text, long long first, long long second,
                                  void* context)
{
    auto* const dialog = static_cast<VUpdateDialog*>(context);
    if (!dialog)
        return CALLBACK_CONTINUE;
    const auto phase = [dialog](const char* line) {
        dialog->later([dialog, line] {
            dialog->lblServer->setText(tr(line));
            accessible::tellChanged({dialog->lblServer});
        });
    };
    const auto detail = [dialog](QByteArray line) {
        dialog->later([dialog, line = line + '\n'] { dialog->txtUpdateDetails->append(line); });
    };
    if (code == UPDATE_STARTED && text)
        phase("Update started from server");
    else if (code == UPDATE_INITIALISED && text)
        phase("Update initialization from server done");
    else if (code == UPDATE_DETAIL && text)
        detail(text);
    else if (code == UPDATE_PROGRESS)
        dialog->later([=] { dialog->showProgress(first, second); });
    else if (code == UPDATE_INSTALLING)
        phase("Install started from server");
    else if (code == UPDATE_FAILED) {
        detail(tr("Updates failed").toUtf8());
        updateFail = true;
    }
    return isCancelled ? CALLBACK_STOP : CALLBACK_CONTINUE;
}

void VUpdateDialog::showProgress(long long total, long long done)
{
    dlProgress->setRange(0, std::max(0, low32(total)));
    dlProgress->setValue(low32(done));
    lblByteProgress->setText(QString::number(low32(done / 1024)) + QStringLiteral(" / ") +
                             QString::number(low32(total / 1024)) + u' ' + tr("KB"));
}

void VUpdateDialog::updateFinish(int code, AVUpdateContextData context)
{
    emit static_cast<VUpdateDialog*>(context)->signalFinish(code);
}

void VUpdateDialog::slotFinish(int code)
{
    isUpdating = isCancelled = false;
    finished = code;
    // There is nothing left to be stopped.
    for (VMessageBox* question : findChildren<VMessageBox*>())
        question->close();
    done(code);
}

void VUpdateDialog::slotClosed()
{
    if (!isUpdating)
        return;
    if (!vAsk(this, tr("Update process is running. Do you want to stop update process?")))
        return;
    isCancelled = true;
    signal_update_term(1);
    done(UPDATE_STOPPED);
}

void VUpdateDialog::slotShowDetails()
{
    const bool show = !showDetails;
    setTexts(tr, {{lnkShow, show ? "Hide Detail >>" : "Show Detail <<", nullptr, "Alt+D"}});
    txtUpdateDetails->setVisible(show);
    setShape({windowWidth, show ? detailHeight : plainHeight}, horizontalRound,
             show ? detailRound : plainRound);
    showDetails = show;
}
