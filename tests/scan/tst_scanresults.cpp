#include "kit/framelessflags.h"
#include "kit/vtextpane.h"
#include "scan/vprogresswidget.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace scripted;

namespace {

const std::string here = "/tmp/here";
const std::string gone = "/tmp/gone";

} // namespace

/// What one call of the engine's callback leads to on the screen, in the log and for the engine. Built for
/// root and for an ordinary user.
class TestScanResults : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};
    QByteArray details;      ///< what the pane showed
    QStringList objectLines; ///< "level text" of the log, without its head

    /// Runs a scan of these steps and collects what they left.
    void scan(Script script)
    {
        VProgressWidget window(nullptr, "Scan", FRAMELESS_FLAGS);
        script.push_back(run([&] {
            details = window.findChild<VTextPane*>("txtDetails")->text();
            objectLines.clear();
            for (const LogLine& line : scriptedEngine().log()) {
                if (line.level > LOGLEVEL_MINIMUM)
                    objectLines << QString("%1 %2").arg(line.level).arg(QString::fromStdString(line.text));
            }
        }));
        scriptedEngine().scanScript = std::move(script);
        scriptedEngine().statisticsAvailable = false;
        ModalBoxes boxes;
        boxes.answer(VMessageBox::BTN_OK);
        window.PerformScan(qApp, &engine);
    }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        sandbox::writeFile(here, "x");
        scriptedEngine().reset();
    }

    void statusGivesWordAndLevel_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("line");
        const struct
        {
            int status;
            const char* line;
        } rows[] = {
            {0x1, "3 /tmp/here CLEAN\n"},
            {0x2, "2 /tmp/here INFECTED\n"},
            {0x4, "2 /tmp/here SUSPECTED\n"},
            {0x8, "3 /tmp/here ERROR\n"},
            {0x10, "2 /tmp/here DISINFECTED\n"},
            {0x20, "2 /tmp/here DELETED\n"},
            {0x40, "2 /tmp/here QUARANTINED\n"},
            {0x80, "2 /tmp/here RENAMED\n"},
            {0x100, "2 /tmp/here CURE FAILED\n"},
            {0x200, "2 /tmp/here DELETE FAILED\n"},
            {0x400, "2 /tmp/here QUARANTINE FAILED\n"},
            {0x800, "2 /tmp/here RENAME FAILED\n"},
            {0x20000, "2 /tmp/here CORRUPT\n"},
            {0x40000, "2 /tmp/here ENCRYPTED\n"},
            {0x42, "2 /tmp/here INFECTED\n"},
            {0xa, "3 /tmp/here INFECTED\n"},
        };
        for (const auto& row : rows)
            QTest::addRow("%#x", static_cast<unsigned>(row.status)) << row.status << QString(row.line);
    }

    void statusGivesWordAndLevel()
    {
        QFETCH(int, status);
        QFETCH(QString, line);
        scan({report(here, status)});
        QCOMPARE(objectLines, QStringList(line));
        QCOMPARE(details, line.mid(2).toUtf8());
    }

    void virusAndRemarkFollow()
    {
        scan({report(here, SCANSTAT_INFECTED, "Some.Virus-1"), report(here, SCANSTAT_ERROR, nullptr, "why"),
              report(here, SCANSTAT_INFECTED, "", "both")});
        QCOMPARE(details, QByteArray("/tmp/here INFECTED [Some.Virus-1]\n"
                                     "/tmp/here ERROR (why)\n"
                                     "/tmp/here INFECTED [] (both)\n"));
    }

    void directoriesAreLoggedAndNotServed()
    {
        bool served = false;
        scan({run([&] { QTimer::singleShot(0, [&] { served = true; }); }), directory("/etc"),
              report("/srv", SCANSTAT_INFECTED, "v", "r", OBJTYPE_DIRECTORY), run([&] { QVERIFY(!served); }),
              beat(), run([&] { QVERIFY(served); })});
        QCOMPARE(details, QByteArray("Scanning directory /etc\nScanning directory /srv\n"));
        QCOMPARE(objectLines, QStringList({"3 Scanning directory /etc\n", "3 Scanning directory /srv\n"}));
    }

    void whatIsNotThereIsDeniedToUsersOnly()
    {
        scan({report(gone, SCANSTAT_INFECTED, "v"), report(gone + "=>inner", SCANSTAT_CLEAN),
              report(gone + "=odd", SCANSTAT_ENCRYPTED)});
        const bool root = getuid() == 0;
        QCOMPARE(details, root ? QByteArray() : QByteArray("/tmp/gone [Access Denied]\n").repeated(3));
        const QStringList denied = {"2 /tmp/gone [Access Denied]\n", "3 /tmp/gone [Access Denied]\n",
                                    "2 /tmp/gone [Access Denied]\n"};
        QCOMPARE(objectLines, root ? QStringList() : denied);
    }

    void whatAnActionTookAwayKeepsItsStatus()
    {
        scan({report(gone, SCANSTAT_DELETED), report(gone, SCANSTAT_RENAMED),
              report(gone, SCANSTAT_QUARANTINED)});
        QCOMPARE(details, QByteArray("/tmp/gone DELETED\n/tmp/gone RENAMED\n/tmp/gone QUARANTINED\n"));
    }

    void innerNamesAreShownWhole()
    {
        scan({report(here + "=>a/b", SCANSTAT_INFECTED), report(here + "=x", SCANSTAT_CLEAN),
              report("=>" + here + ">y", SCANSTAT_CLEAN), report("=>", SCANSTAT_CLEAN)});
        QCOMPARE(details, QByteArray("/tmp/here=>a/b INFECTED\n/tmp/here=x CLEAN\n=>/tmp/here>y CLEAN\n"));
    }

    void processesAlwaysHaveALine()
    {
        scan({report("1 /sbin/init", SCANSTAT_CLEAN, nullptr, nullptr, OBJTYPE_PROCESS),
              report("2 x", 0, nullptr, nullptr, OBJTYPE_PROCESS_ALT),
              report("3 y", SCANSTAT_INFECTED, "v", nullptr, 0x31)});
        QCOMPARE(details,
                 QByteArray("PID: 1 /sbin/init CLEAN\nPID: 2 x UNKNOWN STATUS\nPID: 3 y INFECTED [v]\n"));
    }

    void beatsAndUnknownBitsShowNothing()
    {
        scan({beat(), report(here, 0x1000), report("", SCANSTAT_CLEAN)});
        QCOMPARE(details, QByteArray());
        QCOMPARE(objectLines, QStringList());
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({0, 0, 0}));
    }

    void namesAreBytesOnOneLine()
    {
        scan({report("/tmp/caf\xe9\n/etc/passwd CLEAN", SCANSTAT_DELETED), directory("/a\r\nb")});
        QCOMPARE(details, QByteArray("/tmp/caf\xe9\u240A/etc/passwd CLEAN DELETED\n"
                                     "Scanning directory /a\u240D\u240Ab\n"));
        // The log takes the bytes; keeping its lines apart is the engine's.
        QVERIFY(scriptedEngine().logText().find("/tmp/caf\xe9\n/etc/passwd CLEAN DELETED\n") !=
                std::string::npos);
    }

    void quarantinedFilesAreRecorded()
    {
        sandbox::writeFile("/var/Quillstone/var/quarantine/vardo/bad.com", "xyz");
        scan({report("/home/bad.com", SCANSTAT_QUARANTINED, "Some.Virus-1"),
              report("/home/bad.com", SCANSTAT_QUARANTINED),
              report("/home/other.com", SCANSTAT_QUARANTINED, "Some.Virus-1")});
        // One record; no virus, none; a file that is not in the quarantine, neither record nor line.
        const std::string records = sandbox::readFile("/opt/Quillstone/etc/vardo/.quarantined");
        QCOMPARE(std::count(records.begin(), records.end(), '\n'), 1);
        QVERIFY(records.starts_with("bad.com~#^|~"));
        QVERIFY(records.ends_with("~#^|~3~#^|~Some.Virus-1~#^|~\n"));
        QCOMPARE(details,
                 QByteArray("/home/bad.com QUARANTINED [Some.Virus-1]\n/home/bad.com QUARANTINED\n"));
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({0, 0, CALLBACK_RECORD_FAILED}));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanResults, TEST_USER, TEST_USER)
#include "tst_scanresults.moc"
