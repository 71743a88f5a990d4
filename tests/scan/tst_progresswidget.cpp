#include "kit/framelessflags.h"
#include "kit/vtextpane.h"
#include "scan/vprogresswidget.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDateTime>
#include <QLabel>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <filesystem>
#include <memory>

#include <unistd.h>

using namespace scripted;

namespace {

const std::string lastScan = "/opt/Quillstone/etc/vardo/.lastScan";
const std::string here = "/tmp/here";
const std::string gone = "/tmp/gone";

/// Clicks the button from the next turn of the event loop.
Step clickLater(QWidget& window, const char* button)
{
    return run([&window, button] {
        QTimer::singleShot(0, &window, [&window, button] {
            QTest::mouseClick(window.findChild<QAbstractButton*>(button), Qt::LeftButton);
        });
    });
}

} // namespace

/// The window of a scan, and what each call of the engine leads to on the screen, in the log and for the
/// engine. Run as root and as an ordinary user.
class TestProgressWidget : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};
    std::unique_ptr<VProgressWidget> window;
    std::unique_ptr<ModalBoxes> boxes;

    int performScan(Script script)
    {
        scriptedEngine().scanScript = std::move(script);
        return window->PerformScan(qApp, &engine);
    }

    int performMemoryScan(Script script)
    {
        scriptedEngine().memoryScript = std::move(script);
        return window->PerformMemoryScan(qApp, &engine);
    }

    /// Scans without statistics in the end.
    void scan(Script script)
    {
        scriptedEngine().statisticsAvailable = false;
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan(std::move(script)), 0);
    }

    QString label(const char* name) const { return window->findChild<QLabel*>(name)->text(); }
    QAbstractButton* button(const char* name) const { return window->findChild<QAbstractButton*>(name); }
    QByteArray details() const { return window->findChild<VTextPane*>("txtDetails")->text(); }

    /// The log, "level text" a line, without other levels than these.
    static QStringList log(const QString& levels)
    {
        QStringList lines;
        for (const LogLine& line : scriptedEngine().log())
            lines << QString("%1 %2").arg(line.level).arg(QString::fromStdString(line.text));
        return lines.filter(QRegularExpression("^[" + levels + "]"));
    }

    static void verifyLastScanIsNow()
    {
        const QString text = QString::fromStdString(sandbox::readFile(lastScan));
        QVERIFY(text.endsWith('\n'));
        const QDateTime noted = QDateTime::fromString(text.chopped(1), "dd/MM/yyyy HH:mm");
        QVERIFY2(noted.isValid() && qAbs(noted.secsTo(QDateTime::currentDateTime())) <= 120,
                 qPrintable(text));
    }

    void closeStatistics()
    {
        boxes->handle([](QWidget* dialog) { dialog->close(); });
    }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        sandbox::writeFile(here, "x");
        scriptedEngine().reset();
        window = std::make_unique<VProgressWidget>(nullptr, "Scan progress", FRAMELESS_FLAGS);
        boxes = std::make_unique<ModalBoxes>();
    }

    void cleanup()
    {
        window.reset();
        boxes.reset();
    }

    void whatCannotStartDoesNothing()
    {
        QCOMPARE(window->PerformScan(nullptr, &engine), -1);
        QCOMPARE(window->PerformMemoryScan(qApp, nullptr), -1);
        QVERIFY(scriptedEngine().journal().empty());
        for (const char* call : {"GetOption 4", "SetOption 4"}) {
            scriptedEngine().reset();
            scriptedEngine().setResult(call, -1);
            boxes->answer(VMessageBox::BTN_OK);
            QCOMPARE(performMemoryScan({}), -1);
            QCOMPARE(boxes->texts().back(), "Error Occured.");
            for (const std::string& entry : scriptedEngine().changes())
                QCOMPARE(entry, std::string("SetOption 4"));
        }
        QVERIFY(!std::filesystem::exists(lastScan));
    }

    void scanRunsInOrder()
    {
        scriptedEngine().held.scanOpts = SCANFLAG_DISINFECT;
        scriptedEngine().held.action = SCANACT_DELETE;
        boxes->handle([this](QWidget* dialog) {
            QCOMPARE(dialog->objectName(), "VScanStatisticsDialog");
            QCOMPARE(dialog->geometry().center(), window->geometry().center());
            QVERIFY(log("1").last().startsWith("1 -----")); // the statistics are in the log already
            dialog->close();
        });
        const int ret = performScan({run([this] {
            QVERIFY(window->isVisible());
            QCOMPARE(label("lblAction"), "<b>Action</b>");
            QCOMPARE(label("lblActionValue"), "Disinfect/Delete");
            QVERIFY(log("1").at(8).startsWith("1 Scan packed"));
        })});
        QCOMPARE(ret, 0);
        const std::vector<std::string> expected = {"SetActionData /var/Quillstone/var/quarantine/vardo qst 0",
                                                   "LogInit (null) -1", "DoScan", "CloseLog"};
        QCOMPARE(scriptedEngine().changes(), expected);
        verifyLastScanIsNow();
    }

    void countersFollowEachCall()
    {
        closeStatistics();
        performScan({count([](QS_InterfaceScanStatistics& stats) {
                         stats = {2, 4'294'967'295, 9, 9, 9, 10, 9, 9, 100, 1000, 10'000, 9, 9, 9, 9};
                     }),
                     directory("/etc"), run([this] {
                         QCOMPARE(label("lblDirScanCntValue"), "2");
                         QCOMPARE(label("lblFileScanCntValue"), "4294967295");
                         QCOMPARE(label("lblVirusCntValue"), "11110");
                     }),
                     count([](QS_InterfaceScanStatistics& stats) { stats = {}; })});
        QCOMPARE(label("lblVirusCntValue"), "0"); // once more in the end
    }

    void whatWentWrongIsTold()
    {
        scan({});
        QCOMPARE(boxes->texts(), QStringList("Error! Can not get scan statistics"));
        QCOMPARE(log("1").last(), "1 \n"); // the configuration block's end
        scriptedEngine().setResult("DoScan", -5);
        scriptedEngine().scanError = "no <b>service</b> 100%s";
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan({}), -5);
        QCOMPARE(boxes->texts().back(), "SCAN ERROR: no <b>service</b> 100%s");
        QCOMPARE(log("1").last(), "1 SCAN ERROR: no <b>service</b> 100%s\n");
        verifyLastScanIsNow();
    }

    void whatWasNotScannedIsTold()
    {
        scan({report(here), report(here, SCANSTAT_INFECTED)});
        scan({report(here, SCANSTAT_ERROR), report(gone, SCANSTAT_ERROR), report(here)});
        QTRY_COMPARE(sandbox::recordedCalls().size(), std::size_t(1));
        QVERIFY(sandbox::recordedCalls().front().find("everything 2 objects could not") != std::string::npos);
    }

    void stopIsSeenInTheSameCall()
    {
        const auto stopped = [this](Script script) {
            boxes->answer(VMessageBox::BTN_OK);
            QCOMPARE(performScan(std::move(script)), SCANRESULT_CANCELLED);
            QCOMPARE(boxes->texts().last(), "Scan cancelled before completion");
            QCOMPARE(log("1").last(), "1 Scan cancelled before completion\n");
            verifyLastScanIsNow();
            QVERIFY(window->isVisible());
        };
        stopped({clickLater(*window, "btnStop"), directory("/etc"), beat(), directory("/srv")});
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_CONTINUE, CALLBACK_STOP}));
        // The window keeps the wish to stop, and shows nothing more.
        stopped({count([](QS_InterfaceScanStatistics& stats) { stats.scFiles = 7; }), directory("/srv")});
        QCOMPARE(label("lblFileScanCntValue"), "0");
        QCOMPARE(details(), QByteArray("Scanning directory /etc\n"));
        QCOMPARE(scriptedEngine().callbackAnswers.size(), 3U);
        // Nor does a scan run on whose window was closed before it began.
        window = std::make_unique<VProgressWidget>(nullptr, "Scan progress", FRAMELESS_FLAGS);
        QTimer::singleShot(0, button("btnStop"), &QAbstractButton::click);
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan({beat()}), SCANRESULT_CANCELLED);
    }

    void closingAsksFirst()
    {
        for (const int answer : {int(VMessageBox::BTN_NO), 0, int(VMessageBox::BTN_YES)})
            boxes->answer(answer);
        boxes->answer(VMessageBox::BTN_OK);
        Script script;
        for (const std::size_t asked : {1U, 2U, 3U}) {
            script.push_back(clickLater(*window, "btnClose"));
            script.push_back(beatUntil([this, asked] {
                return boxes->seen().size() == asked && !QApplication::activeModalWidget();
            }));
        }
        QCOMPARE(performScan(std::move(script)), SCANRESULT_CANCELLED);
        QCOMPARE(boxes->texts(),
                 QStringList(3, "Scanning is in progress. Do you want to stop scan process?") +
                     QStringList("Scan cancelled before completion"));
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QVERIFY(window->isVisible());
        window->stopScan(); // no scan runs any more
        QVERIFY(!window->isVisible());
    }

    void memoryScanRestoresItsOption()
    {
        boxes->answer(VMessageBox::BTN_OK);
        const int ret = performMemoryScan({run([this] {
            QCOMPARE(int(scriptedEngine().held.memScan), 1);
            QCOMPARE(label("lblAction") + label("lblActionValue"), "");
        })});
        QCOMPARE(ret, 0);
        const std::vector<std::string> expected = {
            "SetOption 4",       "SetActionData /var/Quillstone/var/quarantine/vardo qst 0",
            "LogInit (null) -1", "DoMemoryScan 1",
            "SetOption 4",       "CloseLog"};
        QCOMPARE(scriptedEngine().changes(), expected);
        QCOMPARE(int(scriptedEngine().held.memScan), 0);
        QCOMPARE(boxes->texts(), QStringList("Memory scan completed successfully"));
        const QStringList lines = log("1");
        QVERIFY(lines.at(lines.size() - 3).endsWith("***\n\n")); // the banner's end
        QCOMPARE(lines.mid(lines.size() - 2),
                 QStringList({"1 Memory Scan started\n", "1 Memory scan completed successfully\n"}));
        verifyLastScanIsNow();
    }

    void memoryScanThatFailsOrStopsIsTold()
    {
        scriptedEngine().setResult("DoMemoryScan", -1);
        scriptedEngine().scanError = "why";
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performMemoryScan({}), -1);
        QCOMPARE(log("1").last(), "1 SCAN ERR: why\n");
        QCOMPARE(int(scriptedEngine().held.memScan), 0);
        scriptedEngine().setResult("DoMemoryScan", 0);
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performMemoryScan({clickLater(*window, "btnStop"), beat()}), SCANRESULT_CANCELLED);
        QCOMPARE(log("1").last(), "1 Scan cancelled before completion\n");
        QCOMPARE(boxes->texts(), QStringList({"SCAN ERR: why", "Scan cancelled before completion"}));
    }

    void lastScanReplacesALongerLineAndFollowsNoLink()
    {
        sandbox::writeFile(lastScan, std::string(100, 'x'));
        scan({});
        verifyLastScanIsNow();
        const std::string victim = "/opt/Quillstone/etc/victim";
        std::filesystem::remove(lastScan);
        sandbox::writeFile(victim, "precious");
        std::filesystem::create_symlink(victim, lastScan);
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan({}), -1);
        QCOMPARE(sandbox::readFile(victim), std::string("precious"));
        QCOMPARE(scriptedEngine().changes().back(), std::string("CloseLog"));
    }

    void timeCountsTicksDuringAScan()
    {
        scan({beatUntil([this] { return label("lblTime") == "00:00:01"; })});
        QVERIFY(!window->findChild<QTimer*>()->isActive());
        for (int tick = 1; tick < 3661; ++tick)
            QMetaObject::invokeMethod(window.get(), "slotScanTimer", Qt::DirectConnection);
        QCOMPARE(label("lblTime"), "01:01:01");
    }

    void detailsSurviveAsAFlagOnly()
    {
        const auto click = [this] { QTest::mouseClick(button("lnkDetail"), Qt::LeftButton); };
        const auto verify = [this](bool shown) {
            QCOMPARE(window->size(), QSize(560, shown ? 390 : 236));
            QCOMPARE(!window->findChild<QWidget*>("txtDetails")->isHidden(), shown);
            QCOMPARE(button("lnkDetail")->text(), shown ? "Hide Detail >>" : "Show Detail <<");
        };
        window->show();
        click();
        verify(true);
        window = std::make_unique<VProgressWidget>(nullptr, "next", FRAMELESS_FLAGS);
        window->show();
        verify(false);
        click(); // believes that they are shown
        verify(false);
        click();
        verify(true);
        click();
        verify(false);
    }

    void picturesCatchUpWithTheCounters()
    {
        scan({});
        auto* value = window->findChild<QLabel*>("lblFileScanCntValue");
        for (int i = 0; i < 50; ++i) {
            value->setNum(i);
            QApplication::processEvents();
        }
        struct Painted : QObject
        {
            bool once = false;
            bool eventFilter(QObject*, QEvent* event) override
            {
                once |= event->type() == QEvent::Paint;
                return false;
            }
        } painted;
        value->installEventFilter(&painted);
        value->setNum(51);
        QTRY_VERIFY(painted.once);
    }

    void statusGivesWordAndLevel()
    {
        Script script;
        for (const int status : {0x1, 0x2, 0x4, 0x8, 0x10, 0x20, 0x40, 0x80, 0x100, 0x200, 0x400, 0x800,
                                 0x20000, 0x40000, 0x42, 0xa})
            script.push_back(report(here, status));
        scan(script);
        QString lines = "3 CLEAN,2 INFECTED,2 SUSPECTED,3 ERROR,2 DISINFECTED,2 DELETED,2 QUARANTINED,"
                        "2 RENAMED,2 CURE FAILED,2 DELETE FAILED,2 QUARANTINE FAILED,2 RENAME FAILED,"
                        "2 CORRUPT,2 ENCRYPTED,2 INFECTED,3 INFECTED";
        lines.replace(QRegularExpression("(\\d )([^,]*),?"), "\\1/tmp/here \\2\n");
        QCOMPARE(log("23").join(""), lines);
        QCOMPARE(details(), lines.remove(QRegularExpression("\\d ")).toUtf8());
    }

    void linesTellWhatIsKnown()
    {
        scan({report(here, SCANSTAT_INFECTED, "Some.Virus-1"), report(here, SCANSTAT_ERROR, nullptr, "why"),
              report(here, SCANSTAT_INFECTED, "", "both"),
              // Inner names, and what looks like them.
              report(here + "=>a/b", SCANSTAT_INFECTED), report(here + "=x", SCANSTAT_CLEAN),
              report("=>" + here + ">y", SCANSTAT_CLEAN), report("=>", SCANSTAT_CLEAN),
              // What an action took away keeps its status.
              report(gone, SCANSTAT_DELETED), report(gone, SCANSTAT_RENAMED),
              report(gone, SCANSTAT_QUARANTINED),
              // Processes always have a line.
              report("1 /sbin/init", SCANSTAT_CLEAN, nullptr, nullptr, OBJTYPE_PROCESS),
              report("2 x", 0, nullptr, nullptr, OBJTYPE_PROCESS_ALT),
              report("3 y", SCANSTAT_INFECTED, "v", nullptr, 0x31),
              // Beats and unknown bits never do.
              beat(), report(here, 0x1000), report("", SCANSTAT_CLEAN)});
        QCOMPARE(details(), QByteArray("/tmp/here INFECTED [Some.Virus-1]\n"
                                       "/tmp/here ERROR (why)\n"
                                       "/tmp/here INFECTED [] (both)\n"
                                       "/tmp/here=>a/b INFECTED\n"
                                       "/tmp/here=x CLEAN\n"
                                       "=>/tmp/here>y CLEAN\n"
                                       "/tmp/gone DELETED\n"
                                       "/tmp/gone RENAMED\n"
                                       "/tmp/gone QUARANTINED\n"
                                       "PID: 1 /sbin/init CLEAN\n"
                                       "PID: 2 x UNKNOWN STATUS\n"
                                       "PID: 3 y INFECTED [v]\n"));
        QCOMPARE(log("23").size(), 12);
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>(16, CALLBACK_CONTINUE));
    }

    void directoriesAreLoggedAndNotServed()
    {
        bool served = false;
        scan({run([&] { QTimer::singleShot(0, [&] { served = true; }); }), directory("/etc"),
              report("/srv", SCANSTAT_INFECTED, "v", "r", OBJTYPE_DIRECTORY), run([&] { QVERIFY(!served); }),
              beat(), run([&] { QVERIFY(served); })});
        QCOMPARE(details(), QByteArray("Scanning directory /etc\nScanning directory /srv\n"));
        QCOMPARE(log("23"), QStringList({"3 Scanning directory /etc\n", "3 Scanning directory /srv\n"}));
    }

    void whatIsNotThereIsDeniedToUsersOnly()
    {
        scan({report(gone, SCANSTAT_INFECTED, "v"), report(gone + "=>inner", SCANSTAT_CLEAN),
              report(gone + "=odd", SCANSTAT_ENCRYPTED)});
        const bool root = getuid() == 0;
        QCOMPARE(details(), root ? QByteArray() : QByteArray("/tmp/gone [Access Denied]\n").repeated(3));
        const QStringList denied = {"2 /tmp/gone [Access Denied]\n", "3 /tmp/gone [Access Denied]\n",
                                    "2 /tmp/gone [Access Denied]\n"};
        QCOMPARE(log("23"), root ? QStringList() : denied);
    }

    void namesAreBytesOnOneLine()
    {
        scan({report("/tmp/caf\xe9\n/etc/passwd CLEAN", SCANSTAT_DELETED), directory("/a\r\nb")});
        QCOMPARE(details(), QByteArray("/tmp/caf\xe9\u240A/etc/passwd CLEAN DELETED\n"
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
        QCOMPARE(details(),
                 QByteArray("/home/bad.com QUARANTINED [Some.Virus-1]\n/home/bad.com QUARANTINED\n"));
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({0, 0, CALLBACK_RECORD_FAILED}));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestProgressWidget, 0, 0)
#include "tst_progresswidget.moc"
