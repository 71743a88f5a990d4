#include "reports/vshowlogdialog.h"

#include "kit/backgrounds.h"
#include "kit/dialogheader.h"
#include "kit/palettes.h"
#include "kit/vpushbutton.h"
#include "kit/vtextpane.h"
#include "reports/logfiles.h"

#include <QFile>
#include <QFont>
#include <QKeySequence>
#include <QLabel>

#include <utility>

#include <fcntl.h>

namespace {

/// A log up to this size is read at once. A larger one is read as it is scrolled, and so must stay open.
constexpr qint64 readAtOnce = 128 << 20;
constexpr qint64 chunkSize = 200 << 10;

QFont logFont()
{
    QFont font(QStringLiteral("Courier New"), 11);
    font.setFixedPitch(true);
    font.setStyleHint(QFont::TypeWriter);
    return font;
}

} // namespace

VShowLogDialog::VShowLogDialog(QWidget* parent, const char* /*name*/, bool modal, Qt::WindowFlags flags)
    : RoundedWindow<QDialog>(background::dialog, true, parent, flags)
{
    setObjectName(QStringLiteral("VShowLogDialog"));
    setModal(modal);
    lblLogo = makeLogoLabel(this, QStringLiteral("task_report.png"));
    lblLogo->setGeometry(9, 7, 48, 48);
    lblTitle = makeTitleLabel(this);
    lblTitle->setGeometry(66, 19, 300, 32);
    btnClose = makeCloseButton(this, background::dialog);
    btnClose->move(580, 7);
    // A log's bytes are shown as Latin-1, so that each of them is seen.
    textLog = new VTextPane(this, "textLog", TextRows::Encoding::Latin1);
    textLog->setGeometry(15, 70, 580, 300);
    textLog->setPalette(contentPalette());
    textLog->setFont(logFont());
    btnOk = new VPushButton(QStringLiteral("button"), background::dialog, false, this, "btnOk");
    btnOk->setFixedSize(80, 32);
    btnOk->move(265, 378);
    for (const VPushButton* button : {btnClose, btnOk})
        connect(button, &VPushButton::clicked, this, &VShowLogDialog::close);
    languageChange();
    init();
}

void VShowLogDialog::languageChange()
{
    setWindowTitle(tr("View Log"));
    lblTitle->setText(tr("Logs"));
    btnClose->setToolTip(tr("Close current window"));
    btnOk->setText(tr("&Close"));
    btnOk->setShortcut(QKeySequence(tr("Alt+C")));
    btnOk->setToolTip(tr("Close current window"));
}

void VShowLogDialog::init()
{
    textLog->goToStart();
    setFixedSize(610, 425);
    makeWidgetRound(4, 6);
}

void VShowLogDialog::showLogs(const char* path)
{
    showLogs(logfiles::open(AT_FDCWD, path));
}

void VShowLogDialog::showLogs(base::UniqueFd log)
{
    auto file = std::make_unique<QFile>();
    if (!log || !file->open(log.get(), QIODevice::ReadOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle))
        return;
    static_cast<void>(log.release());
    if (file->size() > readAtOnce) {
        textLog->setFile(std::move(file));
        return;
    }
    // What is written meanwhile is read too, but nobody who goes on writing keeps the window waiting.
    for (qint64 left = readAtOnce; left > 0;) {
        const QByteArray chunk = file->read(std::min(left, chunkSize));
        if (chunk.isEmpty())
            break;
        textLog->append(chunk);
        left -= chunk.size();
    }
}
