#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <QDir>
#include <QFile>

namespace {

constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo";
constexpr char home[] = "/root";

/// The lines of the log behind its head; the whole text when that is not of a scan that asks.
QList<QByteArray> logLines()
{
    const QByteArray log = product::onlyLog();
    const QByteArray headEnd = "Scan action\t\t\t: Prompt\n"
                               "Exclude extensions\t\t: qst\n" // those that the program has renamed
                               "Log level\t\t\t: 3\n\n";
    const qsizetype end = log.indexOf(headEnd);
    return end < 0 ? QList<QByteArray>{log} : log.mid(end + headEnd.size()).split('\n');
}

QStringList filesIn(const char* directory)
{
    return QDir(directory).entryList(QDir::Files);
}

} // namespace

/// A scan with the action "prompt" through the real window.
class TestWindowPrompt : public QObject
{
    Q_OBJECT

  private slots:
    void init();
    void everyAnswerIsCarriedOut();
    void stopsBehindAnOpenPrompt();
    void failureIsLogged();
};

void TestWindowPrompt::init()
{
    product::install("[Scan]\nAction=prompt\n[Log]\nLevel=all\n");
    for (const char* name : {"1-nothing", "2-delete", "3-rename", "4-quarantine", "5-close"})
        sandbox::writeFile(std::string("/root/") + name, ServiceHome::marker().toStdString());
    sandbox::writeFile("/root/6-clean", "harmless");
}

void TestWindowPrompt::everyAnswerIsCarriedOut()
{
    RealWindow window;
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    const QStringList names = filesIn(home);
    const char* answers[] = {"lnkNothing", "lnkDelete", "lnkRename", "lnkQuarantine", "btnScanCancel"};
    for (int i = 0; i < 5; ++i) {
        QTRY_COMPARE_WITH_TIMEOUT(window.text("VGetUserAction/lblObjectName"), "/root/" + names[i], 30'000);
        // Nothing is done to those that were not asked about yet.
        QCOMPARE(filesIn(home).mid(filesIn(home).indexOf(names[i])), names.mid(i));
        QVERIFY(window.click(QString("VGetUserAction/") + answers[i]));
    }
    QVERIFY(window.waitFor("VScanStatisticsDialog"));

    QStringList shown;
    for (const char* name : {"Dirs", "Objs", "Infected", "Suspicious", "Cured", "CureFailed", "Deleted",
                             "Renamed", "Quarantined", "Viruses", "Encrypted", "ActionErrors"})
        shown << window.text(QString("VScanStatisticsDialog/lbl%1Value").arg(name));
    QCOMPARE(shown.join(' '), "1 6 3 0 0 0 1 1 1 3 0 0");
    QCOMPARE(window.text("VProgressWidget/lblVirusCntValue"), "3");
    QCOMPARE(window.text("VProgressWidget/lblActionValue"), "Prompt");
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.waitForEnd("VProgressWidget"));

    QCOMPARE(logLines(), QList<QByteArray>({"Scanning directory /root",
                                            "/root/1-nothing INFECTED [Vardo.Marker]",
                                            "/root/2-delete DELETED [Vardo.Marker]",
                                            "/root/3-rename RENAMED [Vardo.Marker] (now named 3-rename.qst)",
                                            "/root/4-quarantine QUARANTINED [Vardo.Marker]",
                                            "/root/5-close INFECTED [Vardo.Marker]",
                                            "/root/6-clean CLEAN",
                                            "--------------------Scan Statistics--------------------",
                                            "Scanned directories\t\t1",
                                            "Scanned objects\t\t\t6",
                                            "Infected objects\t\t3",
                                            "Suspicious objects\t\t0",
                                            "Disinfected objects\t\t0",
                                            "Uncurable objects\t\t0",
                                            "Viruses found\t\t\t3",
                                            "Deleted objects\t\t\t1",
                                            "Rename objects\t\t\t1",
                                            "Quarantined objects\t\t1",
                                            "Corrupt objects\t\t\t0",
                                            "Encrypted objects\t\t0",
                                            "Actions failed\t\t\t0",
                                            "-------------------------------------------------------",
                                            ""}));
    QCOMPARE(filesIn(home), QStringList({"1-nothing", "3-rename.qst", "5-close", "6-clean"}));
    QCOMPARE(filesIn(quarantine), QStringList("4-quarantine"));
    const QByteArray record = product::quarantineRecords();
    QVERIFY2(record.startsWith("4-quarantine~#^|~") && record.count('\n') == 1, record.constData());
}

void TestWindowPrompt::stopsBehindAnOpenPrompt()
{
    RealWindow window;
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.click("VGetUserAction/lnkQuarantine"));
    QTRY_COMPARE_WITH_TIMEOUT(window.text("VGetUserAction/lblObjectName"), "/root/2-delete", 30'000);
    const QString time = window.text("VProgressWidget/lblTime");
    QTRY_VERIFY_WITH_TIMEOUT(window.text("VProgressWidget/lblTime") > time, 30'000); // the window is alive
    QVERIFY(window.click("VProgressWidget/btnStop")); // raises it over the prompt, which comes back
    QVERIFY(window.click("VGetUserAction/lnkDelete"));
    QTRY_COMPARE_WITH_TIMEOUT(window.texts("VMessageBox"), QStringList("Scan cancelled before completion"),
                              30'000);
    QVERIFY(window.click("VMessageBox/Ok"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QCOMPARE(logLines(),
             QList<QByteArray>({"Scanning directory /root", "/root/1-nothing QUARANTINED [Vardo.Marker]",
                                "Scan cancelled before completion", ""}));
    QCOMPARE(filesIn(home).size(), 5);
    QCOMPARE(filesIn(quarantine), QStringList("1-nothing"));
    QCOMPARE(product::quarantineRecords().count('\n'), 1);
}

void TestWindowPrompt::failureIsLogged()
{
    RealWindow window;
    QVERIFY(window.waitFor("VMainWidget"));
    QVERIFY(QDir("/var/Quillstone/var/lib/signatures").removeRecursively());
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.waitFor("VMessageBox"));
    const QString error = window.texts("VMessageBox").value(0);
    QVERIFY2(error.startsWith("SCAN ERROR: ") && error.size() > 20, qPrintable(error));
    QVERIFY(window.click("VMessageBox/Ok"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QCOMPARE(logLines(), QList<QByteArray>({error.toUtf8(), ""}));
    QCOMPARE(filesIn(home).size(), 6);
}

VARDO_WINDOW_TEST_MAIN(TestWindowPrompt)
#include "tst_windowprompt.moc"
