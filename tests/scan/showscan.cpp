// Shows a scan window on the scripted engine, for a look at it:
// showscan progress|details|memory|prompt|statistics|startup|failed

#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "scan/vgetuseraction.h"
#include "scan/vmemscandialog.h"
#include "scan/vprogresswidget.h"
#include "scan/vscanstatisticsdialog.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>

#include <thread>

using namespace scripted;

namespace {

const char longPath[] = "/srv/data/very/deep/tree/of/folders/with/long/names/that/go/on/and/on/for/more/than/"
                        "a/hundred/and/fifty/characters/until/at/last/a/file/appears/in/it/and/deeper/still/"
                        "where/nobody/looks/report 2026.odt";

bool never()
{
    return false;
}

void scriptScan()
{
    ScriptedEngine& engine = scriptedEngine();
    engine.held.action = SCANACT_QUARANTINE;
    engine.held.scanOpts = SCANFLAG_DISINFECT;
    engine.statistics.scDirectories = 4'294'967'295;
    engine.statistics.scFiles = 4'294'967'294;
    engine.statistics.scQuarantined = 4'294'967'293;
    engine.statistics.scVirus = 4'294'967'295;
    sandbox::writeFile("/tmp/eicar.com", "x");
    engine.scanScript = {directory("/home/tester/Documents"),
                         report("/tmp/eicar.com"),
                         report("/tmp/eicar.com", SCANSTAT_INFECTED, "Some.Test.Virus-1"),
                         report("/tmp/eicar.com", SCANSTAT_QUARANTINED, "Some.Test.Virus-1", "inner name"),
                         report("/tmp/two\nlines", SCANSTAT_DELETED, "Some.Test.Virus-1"),
                         report(longPath, SCANSTAT_DELETED, "Some.Test.Virus-1"),
                         report("/tmp/caf\xe9", SCANSTAT_DELETED, "Some.Test.Virus-1"),
                         report("1234 /usr/bin/foo", SCANSTAT_CLEAN, nullptr, nullptr, OBJTYPE_PROCESS),
                         beatUntil(never, 3'600'000)};
}

int showProgress(QApplication& application, Vardo& engine, bool details)
{
    scriptScan();
    VProgressWidget window(nullptr, "Scan progress for home directories", FRAMELESS_FLAGS);
    if (details)
        QTimer::singleShot(300, &window, [&] { window.findChild<QAbstractButton*>("lnkDetail")->click(); });
    return window.PerformScan(&application, &engine);
}

int showStartup(Vardo& engine, bool failed)
{
    scriptedEngine().held.memScan = 1;
    scriptedEngine().memoryScript = {beatUntil(never, 3'600'000)};
    if (failed) {
        scriptedEngine().setResult("VardoAVInit", -1);
        VMemScanDialog dialog(nullptr, "AVInitializer", false, FRAMELESS_FLAGS);
        dialog.ScanMemory("/opt/Quillstone/etc/qsav.conf", &engine);
        dialog.show();
        QTimer::singleShot(200, &dialog, [&] { dialog.show(); });
        return QApplication::exec();
    }
    return ScanMemory("/opt/Quillstone/etc/qsav.conf", &engine);
}

} // namespace

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enter(argv, {0, 0});
    sandbox::makeInstallation();
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    applyVardoStyle(application);
    Vardo engine("/opt/Quillstone/etc/vardo/vardo.conf");
    const QByteArray what = argv[argc - 1];
    if (what == "prompt")
        return VGetUserAction(nullptr, nullptr, true, FRAMELESS_FLAGS).getUserAction(longPath);
    if (what == "statistics") {
        scriptScan();
        VScanStatisticsDialog(nullptr, nullptr, true, FRAMELESS_FLAGS)
            .showScanStatistics(&scriptedEngine().statistics);
        return 0;
    }
    if (what == "startup" || what == "failed")
        return showStartup(engine, what == "failed");
    return showProgress(application, engine, what == "details");
}
