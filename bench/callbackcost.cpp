// Measures what the progress window costs a scan per object: callbackcost plain|details [COUNT]

#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "scan/vprogresswidget.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>

namespace {

/// Closes the statistics dialog as soon as it opens.
void closeDialogs()
{
    if (QWidget* dialog = QApplication::activeModalWidget())
        dialog->close();
}

int scanMany(scripted::Running& running, int count)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        ++running.statistics().scFiles;
        running.report("/tmp/scanned file", OBJTYPE_FILE, SCANSTAT_CLEAN, nullptr, nullptr);
    }
    std::printf("%d objects, %.1f microseconds each\n", count,
                static_cast<double>(timer.nsecsElapsed()) / 1000 / count);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enter(argv, {0, 0});
    sandbox::makeInstallation();
    sandbox::writeFile("/tmp/scanned file", "x");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    applyVardoStyle(application);
    scriptedEngine().setJournaling(false);
    Vardo engine("/opt/Quillstone/etc/vardo/vardo.conf");
    const int count = argc > 2 ? QByteArray(argv[2]).toInt() : 100'000;
    scriptedEngine().scanScript = {[count](scripted::Running& running) { return scanMany(running, count); }};
    VProgressWidget window(nullptr, "Scan progress", FRAMELESS_FLAGS);
    if (argc > 1 && QByteArray(argv[1]) == "details")
        window.findChild<QAbstractButton*>("lnkDetail")->click();
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, closeDialogs);
    closer.start(50);
    return window.PerformScan(&application, &engine);
}
