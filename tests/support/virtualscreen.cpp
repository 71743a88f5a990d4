#include "tests/support/virtualscreen.h"

#include <QElapsedTimer>

namespace {

constexpr int patience = 20'000; // milliseconds

void end(QProcess& process)
{
    process.terminate();
    if (!process.waitForFinished(patience))
        process.kill();
}

/// A window manager tells the root window about itself.
bool hasManager()
{
    QProcess question;
    question.start("xdotool", {"get_desktop"});
    return question.waitForFinished(patience) && question.exitCode() == 0 &&
           question.readAllStandardOutput().trimmed() == "0";
}

} // namespace

VirtualScreen::VirtualScreen(QSize size)
{
    const QString screen = QString("%1x%2x24").arg(size.width()).arg(size.height());
    server_.start("Xvfb", {"-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"});
    QElapsedTimer timer;
    timer.start();
    while (!server_.canReadLine() && server_.waitForReadyRead(static_cast<int>(patience - timer.elapsed())))
        ;
    const QByteArray number = server_.readLine().trimmed();
    if (number.isEmpty()) {
        qWarning("Xvfb: %s %s", qPrintable(server_.errorString()),
                 server_.readAllStandardError().constData());
        return;
    }
    display_ = ":" + number;
    qputenv("DISPLAY", display_);
    manager_.start("openbox", QStringList());
    manager_.waitForStarted(patience);
    while (timer.elapsed() < patience && !hasManager())
        ;
}

VirtualScreen::~VirtualScreen()
{
    end(manager_);
    end(server_);
}

bool VirtualScreen::savePicture(const QString& path)
{
    return QProcess::execute("import", {"-window", "root", path}) == 0;
}
