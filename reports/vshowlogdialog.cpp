#include "reports/vshowlogdialog.h"

#include "kit/builders.h"
#include "kit/palettes.h"
#include "kit/texts.h"
#include "kit/vpushbutton.h"
#include "kit/vtextpane.h"
#include "reports/logfiles.h"

#include <QFile>
#include <QFont>
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
    : DialogWindow(parent, "VShowLogDialog", modal, flags)
{
    setShape({610, 425}, 4, 6);
    buildHeader("task_report.png", 300);
    // A log's bytes are shown as Latin-1, so that each of them is seen.
    textLog = new VTextPane(this, "textLog", TextRows::Encoding::Latin1);
    textLog->setGeometry(15, 70, 580, 300);
    textLog->setPalette(contentPalette());
    textLog->setFont(logFont());
    textLog->setAccessibleName(tr("Logs"));
    btnOk = build::textButton(this, "btnOk");
    btnOk->move(265, 378);
    connect(btnOk, &VPushButton::clicked, this, &VShowLogDialog::close);
    languageChange();
    init();
}

void VShowLogDialog::languageChange()
{
    setWindowTitle(tr("View Log"));
    setTexts(tr, {
                     {lblTitle, "Logs"},
                     {btnClose, nullptr, "Close current window"},
                     {btnOk, "&Close", "Close current window", "Alt+C"},
                 });
}

void VShowLogDialog::init()
{
    textLog->goToStart();
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
