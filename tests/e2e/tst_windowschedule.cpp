#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"
#include "tests/tools/cron.h"
#include "tests/tools/desktop.h"

#include <filesystem>

namespace fs = std::filesystem;

/// From the editor to what the person at the desktop is told.
class TestWindowSchedule : public QObject
{
    Q_OBJECT

    void type(RealWindow& window, const QString& field, const QString& keys)
    {
        QVERIFY(window.click("VScheduleDialog/" + field, {10, 12}));
        window.press("ctrl+a");
        for (const QChar key : keys)
            window.press(key);
        window.press("Tab");
    }

  private slots:
    void missingSignaturesAreTold()
    {
        product::install("[Scan]\nAction=log\n");
        sandbox::writeFile("/var/Quillstone/var/lib/signatures/torn.ndb", "Vardo.Torn:0");
        Desktop desktop;
        RealWindow window;
        QVERIFY(window.waitFor("VMainWidget"));
        QVERIFY(desktop.shown().contains("torn.ndb was left out"));
    }

    void cronRunsWhatTheWindowSaved()
    {
        product::install("[Scan]\nAction=log\n[Log]\nLevel=all\n");
        fs::create_directories("/etc/cron.d");
        const fs::path bad = "/srv/bad"; // where no other file system is
        fs::create_directories(bad.parent_path());
        sandbox::writeFile(bad, ServiceHome::marker().toStdString());
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
        Desktop desktop;
        RealWindow window;
        QVERIFY(window.waitFor("VMainWidget"));
        QTest::qWait(500); // for the click that the window makes itself
        QVERIFY(window.click("VMainWidget/btnScheduler") && window.click("VMainWidget/btnAddJob"));
        QVERIFY(window.click("VScheduleDialog/rdoDaily"));
        type(window, "editJobName", "nightly");
        type(window, "spinHour", "3");
        type(window, "spinMin", "0");
        QVERIFY(window.click("VScheduleDialog/btnSave") && window.waitFor("VMessageBox/Ok"));
        QVERIFY(window.texts("VMessageBox").contains("Schedule save successfully"));
        QVERIFY(window.click("VMessageBox/Ok") && window.waitForEnd("VScheduleDialog"));

        const Cron cron(1);
        QTRY_VERIFY_WITH_TIMEOUT(fs::exists("/var/Quillstone/var/quarantine/vardo/bad"), 30'000);
        QVERIFY(!fs::exists(bad));
        QByteArray shown;
        QTRY_VERIFY_WITH_TIMEOUT((shown += desktop.shown()).contains("nightly"), 30'000);
        QVERIFY(product::logEntries().contains("/srv/bad QUARANTINED [Vardo.Marker]"));
        QTRY_VERIFY(
            !sandbox::readFile("/opt/Quillstone/etc/vardo/.lastScan").starts_with("20/11/2026 18:30"));
        QVERIFY(window.click("VMainWidget/btnScan") && window.click("VMainWidget/lnkQuarantine"));
        QTRY_COMPARE(window.text("VMainWidget/lblQuarCountValue"), "1");
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowSchedule)
#include "tst_windowschedule.moc"
