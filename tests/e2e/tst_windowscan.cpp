#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"

#include <QDateTime>
#include <QFile>

#include <sys/stat.h>

namespace {

constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo/";

/// The line that a quarantined file must have in the record file.
QByteArray record(const QByteArray& name, const QByteArray& size)
{
    struct stat info = {};
    if (::stat((quarantine + name).constData(), &info) != 0)
        return "no file " + name;
    const QByteArray date =
        QDateTime::fromSecsSinceEpoch(info.st_atime).toString("yyyy MM dd HH:mm:ss").toUtf8();
    return name + "~#^|~" + date + "~#^|~" + size + "~#^|~Vardo.Marker~#^|~\n";
}

void write(const char* path, const QByteArray& content)
{
    sandbox::writeFile(path, content.toStdString());
}

void makeLongWork()
{
    product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n"
                     "[Limits]\nMaxScanMB=16000\nMaxFiles=1000000\nMaxSeconds=600\n");
    write("/root/a", "harmless");
    write("/root/b", ServiceHome::marker());
    write("/root/busy.zip", product::busyArchive());
    write("/root/z", ServiceHome::marker());
}

/// True when the date that the last scan left is not older than `start` and not in the future.
bool lastScanIsSince(const QDateTime& start)
{
    const QString line = QString::fromStdString(sandbox::readFile("/opt/Quillstone/etc/vardo/.lastScan"));
    const QDateTime date = QDateTime::fromString(line, "dd/MM/yyyy HH:mm\n");
    return date.isValid() && date >= start.addSecs(-start.time().second() - 1) &&
           date <= QDateTime::currentDateTime();
}

} // namespace

class TestWindowScan : public QObject
{
    Q_OBJECT

  private slots:
    void quarantinesWhatItFinds();
    void stopsAtTheButton();
    void asksBeforeItIsClosed();

  private:
    void startLongScan(RealWindow& window);
    void wasCancelled(RealWindow& window, const QDateTime& start);
};

void TestWindowScan::quarantinesWhatItFinds()
{
    product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n");
    const QByteArray marker = ServiceHome::marker();
    for (const char* directory : {"/root/one", "/root/two"})
        ::mkdir(directory, 0755);
    write("/root/clean", "harmless");
    write("/root/one/bad", marker);
    write("/root/two/bad", marker + QByteArray(2100 - marker.size(), ' '));
    write("/root/z.zip", ZipWriter::single("inner.exe", marker));
    const QDateTime start = QDateTime::currentDateTime();
    RealWindow window;
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.waitFor("VScanStatisticsDialog"));

    const QByteArray zipSize = QByteArray::number(QFileInfo(QString(quarantine) + "z.zip").size());
    QCOMPARE(product::quarantineRecords(), record("bad", QByteArray::number(marker.size())) +
                                               record("bad-0", "2K") + record("z.zip", zipSize));
    const auto value = [&](const char* name) {
        return window.text(QString("VScanStatisticsDialog/lbl%1Value").arg(name)).toInt();
    };
    QCOMPARE(QList({value("Dirs"), value("Objs"), value("Infected"), value("Quarantined"), value("Viruses")}),
             QList({3, 4, 3, 3, 3}));
    QCOMPARE(window.text("VProgressWidget/lblDirScanCntValue"), "3");
    QCOMPARE(window.text("VProgressWidget/lblFileScanCntValue"), "4");
    QCOMPARE(window.text("VProgressWidget/lblVirusCntValue"), "3");
    QCOMPARE(window.text("VProgressWidget/lblActionValue"), "Quarantine");

    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QVERIFY(lastScanIsSince(start));
    QCOMPARE(product::logEntries(),
             (QByteArrayList{"Scanning directory /root", "/root/clean CLEAN", "Scanning directory /root/one",
                             "/root/one/bad QUARANTINED [Vardo.Marker]", "Scanning directory /root/two",
                             "/root/two/bad QUARANTINED [Vardo.Marker]",
                             "/root/z.zip QUARANTINED [Vardo.Marker] (found in inner.exe)"}));
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
}

/// A scan that has dealt with two files and is busy with the third.
void TestWindowScan::startLongScan(RealWindow& window)
{
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QTRY_COMPARE_WITH_TIMEOUT(window.text("VProgressWidget/lblFileScanCntValue"), "2", 30'000);
    QTRY_VERIFY_WITH_TIMEOUT(window.text("VProgressWidget/lblTime") >= "00:00:01", 30'000);
}

void TestWindowScan::wasCancelled(RealWindow& window, const QDateTime& start)
{
    QTRY_COMPARE_WITH_TIMEOUT(window.texts("VMessageBox"), QStringList("Scan cancelled before completion"),
                              30'000);
    QVERIFY(window.click("VMessageBox/Ok"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QVERIFY(!window.find("VScanStatisticsDialog").exists);
    QCOMPARE(product::logEntries(),
             (QByteArrayList{"Scanning directory /root", "/root/a CLEAN",
                             "/root/b QUARANTINED [Vardo.Marker]", "Scan cancelled before completion", ""}));
    QCOMPARE(product::quarantineRecords(), record("b", QByteArray::number(ServiceHome::marker().size())));
    QVERIFY(QFile::exists("/root/busy.zip") && QFile::exists("/root/z"));
    QVERIFY(lastScanIsSince(start));
    // The window is as it was, and works.
    QTRY_VERIFY(window.find("VMainWidget/lnkScanHome").reachable);
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
}

void TestWindowScan::stopsAtTheButton()
{
    const QDateTime start = QDateTime::currentDateTime();
    makeLongWork();
    RealWindow window;
    startLongScan(window);
    QVERIFY(window.click("VProgressWidget/lnkDetail"));
    QTRY_COMPARE(window.find("VProgressWidget").place.height(), 390);
    QVERIFY(window.click("VProgressWidget/txtDetails"));
    window.press("ctrl+a");
    window.press("ctrl+c");
    QTRY_COMPARE(window.clipboard(),
                 "Scanning directory /root\n/root/a CLEAN\n/root/b QUARANTINED [Vardo.Marker]\n");
    QVERIFY(window.click("VProgressWidget/btnStop"));
    wasCancelled(window, start);
}

void TestWindowScan::asksBeforeItIsClosed()
{
    const QStringList question("Scanning is in progress. Do you want to stop scan process?");
    const QDateTime start = QDateTime::currentDateTime();
    makeLongWork();
    RealWindow window;
    startLongScan(window);
    QVERIFY(window.click("VMainWidget/btnClose")); // does nothing now, but comes to the front
    window.press("alt+Tab");

    QVERIFY(window.click("VProgressWidget/btnClose"));
    QVERIFY(window.waitFor("VMessageBox"));
    QCOMPARE(window.texts("VMessageBox"), question);
    QVERIFY(window.click("VMessageBox/&No"));
    QVERIFY(window.waitForEnd("VMessageBox"));
    const QString time = window.text("VProgressWidget/lblTime");
    QTRY_VERIFY(window.text("VProgressWidget/lblTime") > time);

    QVERIFY(window.click("VProgressWidget/btnClose"));
    QVERIFY(window.waitFor("VMessageBox"));
    QVERIFY(window.click("VMessageBox/&Yes"));
    wasCancelled(window, start);
}

VARDO_WINDOW_TEST_MAIN(TestWindowScan)
#include "tst_windowscan.moc"
