#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"

#include <QFile>

namespace {

constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo/";
constexpr char guardFile[] = "/opt/Quillstone/var/run/vardogui.pid";

void write(const QByteArray& path, const QByteArray& content)
{
    std::filesystem::create_directories(std::filesystem::path(path.constData()).parent_path());
    sandbox::writeFile(path.constData(), content.toStdString());
}

/// The names on the quarantine list.
QByteArrayList recorded()
{
    QByteArrayList names;
    for (const QByteArray& record : product::quarantineRecords().trimmed().split('\n'))
        names << record.left(record.indexOf('~'));
    return names;
}

} // namespace

class TestWindowScan : public QObject
{
    Q_OBJECT

  private slots:
    /// From the start of the program to its end. The demonstration has this for whoever runs the tests: root,
    /// most likely.
    void quarantinesWhatItFinds()
    {
        const QByteArray home = "/home/tester";
        product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n");
        write(home + "/clean", "harmless");
        for (const char* name : {"/one/bad", "/two/bad", "/caf\xe9"})
            write(home + name, ServiceHome::marker());
        write(home + "/z.zip", ZipWriter::single("inner.exe", ServiceHome::marker()));
        RealWindow window({1000, 1000});
        QVERIFY(window.waitFor("VMainWidget"));
        QCOMPARE(sandbox::readFile(guardFile), std::to_string(window.pid()));
        QVERIFY(QFile::exists(home + "/.vardo/vardo.conf"));
        QVERIFY(!window.find("VMainWidget/btnScheduler").exists);
        QVERIFY(window.click("VMainWidget/lnkScanHome"));
        QVERIFY(window.waitFor("VScanStatisticsDialog"));
        QCOMPARE(window.text("VScanStatisticsDialog/lblQuarantinedValue"), "4");
        QCOMPARE(window.text("VProgressWidget/lblVirusCntValue"), "4");
        QCOMPARE(window.text("VProgressWidget/lblActionValue"), "Quarantine");
        QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
        QVERIFY(window.waitForEnd("VProgressWidget"));

        QCOMPARE(recorded(), QByteArrayList({"caf\xe9", "bad", "bad-0", "z.zip"}));
        for (const QByteArray& name : recorded())
            QVERIFY(std::filesystem::exists((quarantine + name).toStdString()));
        QVERIFY(!std::filesystem::exists((home + "/caf\xe9").toStdString()) &&
                QFile::exists(home + "/clean"));
        const QByteArrayList log = product::logEntries();
        for (const char* entry :
             {"/clean CLEAN", "/one/bad QUARANTINED [Vardo.Marker]", "/caf\xe9 QUARANTINED [Vardo.Marker]",
              "/z.zip QUARANTINED [Vardo.Marker] (found in inner.exe)"})
            QVERIFY2(log.contains(home + entry), entry);
        QVERIFY(product::service(1000) > 0); // warm for the next scan
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
        QVERIFY(!QFile::exists(guardFile));
    }

    void stopsInTheMiddleOfAFile()
    {
        product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n"
                         "[Limits]\nMaxScanMB=16000\nMaxFiles=1000000\nMaxSeconds=600\n");
        for (const char* name : {"/root/b", "/root/z"})
            write(name, ServiceHome::marker());
        write("/root/busy.zip", product::busyArchive());
        RealWindow window;
        QVERIFY(window.click("VMainWidget/lnkScanHome"));
        QTRY_COMPARE_WITH_TIMEOUT(window.text("VProgressWidget/lblFileScanCntValue"), "1", 30'000);
        QTRY_VERIFY_WITH_TIMEOUT(window.text("VProgressWidget/lblTime") >= "00:00:01", 30'000);
        QVERIFY(window.click("VProgressWidget/btnStop"));
        wasCancelled(window, {"/root/b QUARANTINED [Vardo.Marker]"});
    }

    void stopsBehindAnOpenPrompt()
    {
        product::install("[Scan]\nAction=prompt\n[Log]\nLevel=all\n");
        for (const char* name : {"/root/b", "/root/busy.zip", "/root/z"})
            write(name, ServiceHome::marker());
        RealWindow window;
        QVERIFY(window.click("VMainWidget/lnkScanHome"));
        QVERIFY(window.click("VGetUserAction/lnkQuarantine"));
        QTRY_COMPARE_WITH_TIMEOUT(window.text("VGetUserAction/lblObjectName"), "/root/busy.zip", 30'000);
        const QString time = window.text("VProgressWidget/lblTime");
        QTRY_VERIFY_WITH_TIMEOUT(window.text("VProgressWidget/lblTime") > time,
                                 30'000);                 // the window is alive
        QVERIFY(window.click("VProgressWidget/btnStop")); // raises it over the prompt, which comes back
        QVERIFY(window.click("VGetUserAction/lnkDelete"));
        wasCancelled(window, {"/root/b QUARANTINED [Vardo.Marker]"});
    }

  private:
    void wasCancelled(RealWindow& window, const QByteArrayList& entries)
    {
        QTRY_COMPARE_WITH_TIMEOUT(window.texts("VMessageBox"),
                                  QStringList("Scan cancelled before completion"), 30'000);
        QVERIFY(window.click("VMessageBox/Ok"));
        QVERIFY(window.waitForEnd("VProgressWidget"));
        const QByteArrayList head{"Scanning directory /root"}, end{"Scan cancelled before completion", ""};
        QCOMPARE(product::logEntries(), head + entries + end);
        QCOMPARE(recorded(), QByteArrayList({"b"}));
        QVERIFY(QFile::exists("/root/busy.zip") && QFile::exists("/root/z"));
        // The window is as it was, and works.
        QTRY_VERIFY(window.find("VMainWidget/lnkScanHome").reachable);
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowScan)
#include "tst_windowscan.moc"
