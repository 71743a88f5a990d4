// Measures how a log comes up in the viewer, and what it would cost in Qt's own widget:
// viewercost viewer|plaintext [MEGABYTES]

#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "kit/vtextpane.h"
#include "reports/vshowlogdialog.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTemporaryFile>
#include <QTest>

#include <cstdio>
#include <memory>

#include <sys/resource.h>

namespace {

/// Fills the file with lines as a scan writes them, each another one; returns how many.
int fill(QFile& file, qint64 size)
{
    int lines = 0;
    while (file.pos() < size) {
        const QByteArray number = QByteArray::number(lines++);
        file.write("/home/user/some/directory of documents/file number " + number + ".txt\tClean\n");
    }
    file.flush();
    return lines;
}

std::unique_ptr<QWidget> viewer(const QString& path)
{
    auto dialog = std::make_unique<VShowLogDialog>(nullptr, nullptr, false, FRAMELESS_FLAGS);
    dialog->showLogs(path.toUtf8().constData());
    return dialog;
}

std::unique_ptr<QWidget> plainText(const QString& path)
{
    auto edit = std::make_unique<QPlainTextEdit>();
    edit->setReadOnly(true);
    edit->setUndoRedoEnabled(false);
    edit->setLineWrapMode(QPlainTextEdit::NoWrap);
    edit->resize(580, 300);
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (QByteArray chunk; !(chunk = file.read(200 << 10)).isEmpty();) {
            edit->moveCursor(QTextCursor::End);
            edit->insertPlainText(QString::fromLatin1(chunk));
        }
    }
    edit->moveCursor(QTextCursor::Start);
    return edit;
}

/// Handles events until the window has all its lines; returns the milliseconds of the longest wait between
/// two rounds.
double longestStall(QAbstractScrollArea& text, int lines)
{
    QElapsedTimer timer;
    timer.start();
    qint64 longest = 0;
    while (text.verticalScrollBar()->maximum() < lines - 100) {
        QCoreApplication::processEvents();
        longest = std::max(longest, timer.nsecsElapsed());
        timer.start();
    }
    return double(longest) / 1e6;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    applyVardoStyle(application);
    const bool ours = argc < 2 || QByteArray(argv[1]) == "viewer";
    const qint64 size = (argc > 2 ? QByteArray(argv[2]).toLongLong() : 100) << 20;
    QTemporaryFile log;
    if (!log.open())
        return 1;
    const int lines = fill(log, size);
    rusage before{};
    getrusage(RUSAGE_SELF, &before);

    QElapsedTimer timer;
    timer.start();
    const std::unique_ptr<QWidget> window = ours ? viewer(log.fileName()) : plainText(log.fileName());
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return 1;
    window->grab();
    const double shown = double(timer.nsecsElapsed()) / 1e6;
    auto* text = ours ? window->findChild<VTextPane*>() : qobject_cast<QAbstractScrollArea*>(window.get());
    const double stall = longestStall(*text, lines);
    const double whole = double(timer.nsecsElapsed()) / 1e6;

    constexpr int pages = 100;
    timer.start();
    for (int page = 0; page < pages; ++page) {
        text->verticalScrollBar()->setValue(int(qint64(lines) * page / pages));
        text->viewport()->repaint();
    }
    const double jump = double(timer.nsecsElapsed()) / 1e6 / pages;
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    std::printf("%lld MB in %d lines: shown after %.0f ms, whole after %.0f ms, longest stall meanwhile "
                "%.0f ms, a jump %.1f ms, %ld MB of memory\n",
                size >> 20, lines, shown, whole, stall, jump, (after.ru_maxrss - before.ru_maxrss) >> 10);
    return 0;
}
