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
#include <QTest>
#include <QTimer>

#include <filesystem>
#include <memory>

using namespace scripted;

namespace {

const std::string lastScan = "/opt/Quillstone/etc/vardo/.lastScan";

/// Clicks the button from the next turn of the event loop.
Step clickLater(QWidget& window, const char* button)
{
    return run([&window, button] {
        QTimer::singleShot(0, &window, [&window, button] {
            QTest::mouseClick(window.findChild<QAbstractButton*>(button), Qt::LeftButton);
        });
    });
}

std::vector<std::string> logOfLevel1()
{
    std::vector<std::string> lines;
    for (const LogLine& line : scriptedEngine().log()) {
        if (line.level == LOGLEVEL_MINIMUM)
            lines.push_back(line.text);
    }
    return lines;
}

} // namespace

class TestProgressWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<Vardo> engine;
    std::unique_ptr<VProgressWidget> window;
    std::unique_ptr<ModalBoxes> boxes;

    int performScan(Script script)
    {
        scriptedEngine().scanScript = std::move(script);
        return window->PerformScan(qApp, engine.get());
    }

    int performMemoryScan(Script script)
    {
        scriptedEngine().memoryScript = std::move(script);
        return window->PerformMemoryScan(qApp, engine.get());
    }

    QString label(const char* name) const { return window->findChild<QLabel*>(name)->text(); }
    QAbstractButton* button(const char* name) const { return window->findChild<QAbstractButton*>(name); }
    QString lastLogLine() const { return QString::fromStdString(logOfLevel1().back()); }

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
        scriptedEngine().reset();
        engine = std::make_unique<Vardo>("/none");
        window = std::make_unique<VProgressWidget>(nullptr, "Scan progress for <b>", FRAMELESS_FLAGS);
        boxes = std::make_unique<ModalBoxes>();
        scriptedEngine().clearJournal();
    }

    void cleanup()
    {
        window.reset();
        boxes.reset();
        engine.reset();
    }

    void opensPlain()
    {
        QCOMPARE(window->size(), QSize(560, 236));
        QCOMPARE(window->objectName(), "VProgressWidget");
        QCOMPARE(label("lblTitle"), "Scan progress for <b>");
        QCOMPARE(label("lblTime"), "00:00:00");
        QCOMPARE(label("lblAction") + label("lblActionValue"), "");
        QCOMPARE(button("lnkDetail")->text(), "Show Detail <<");
        QVERIFY(window->findChild<QWidget*>("txtDetails")->isHidden());
        QCOMPARE(window->PerformScan(nullptr, engine.get()), -1);
        QCOMPARE(window->PerformMemoryScan(qApp, nullptr), -1);
        QVERIFY(scriptedEngine().journal().empty());
    }

    void scanRunsInOrder()
    {
        scriptedEngine().held.scanOpts = SCANFLAG_DISINFECT;
        scriptedEngine().held.action = SCANACT_DELETE;
        boxes->handle([this](QWidget* dialog) {
            QCOMPARE(dialog->objectName(), "VScanStatisticsDialog");
            QCOMPARE(dialog->geometry().center(), window->geometry().center());
            QVERIFY(logOfLevel1().back().starts_with("-----")); // the statistics are in the log already
            dialog->close();
        });
        const int ret = performScan({run([this] {
            QVERIFY(window->isVisible());
            QCOMPARE(label("lblAction"), "<b>Action</b>");
            QCOMPARE(label("lblActionValue"), "Disinfect/Delete");
            QVERIFY(logOfLevel1().at(8).starts_with("Scan packed"));
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
                     count([](QS_InterfaceScanStatistics& stats) {
                         stats = {};
                         stats.scDirectories = 3;
                     })});
        QCOMPARE(label("lblDirScanCntValue"), "3"); // once more in the end
        QCOMPARE(label("lblVirusCntValue"), "0");
    }

    void whatWentWrongIsTold()
    {
        scriptedEngine().statisticsAvailable = false;
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan({directory("/etc")}), 0);
        QCOMPARE(boxes->texts(), QStringList("Error! Can not get scan statistics"));
        QCOMPARE(lastLogLine(), "\n"); // the configuration block's end
        scriptedEngine().setResult("DoScan", -5);
        scriptedEngine().scanError = "no <b>service</b> 100%s";
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performScan({}), -5);
        QCOMPARE(boxes->texts().back(), "SCAN ERROR: no <b>service</b> 100%s");
        QCOMPARE(lastLogLine(), "SCAN ERROR: no <b>service</b> 100%s\n");
        verifyLastScanIsNow();
    }

    void stopIsSeenInTheSameCall()
    {
        boxes->answer(VMessageBox::BTN_OK);
        const int ret =
            performScan({clickLater(*window, "btnStop"), directory("/etc"), beat(), directory("/srv")});
        QCOMPARE(ret, SCANRESULT_CANCELLED);
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_CONTINUE, CALLBACK_STOP}));
        QCOMPARE(boxes->texts(), QStringList("Scan cancelled before completion"));
        QCOMPARE(lastLogLine(), "Scan cancelled before completion\n");
        verifyLastScanIsNow();
        QVERIFY(window->isVisible());
    }

    void afterAStopNothingIsShown()
    {
        boxes->answer(VMessageBox::BTN_OK);
        performScan({run([this] { window->stopScan(); }),
                     count([](QS_InterfaceScanStatistics& stats) { stats.scFiles = 7; }), directory("/etc")});
        QCOMPARE(label("lblFileScanCntValue"), "0");
        QVERIFY(window->findChild<VTextPane*>("txtDetails")->text().isEmpty());
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_STOP}));
    }

    void closingAsksFirst()
    {
        boxes->answer(VMessageBox::BTN_NO);
        boxes->answer(0);
        boxes->answer(VMessageBox::BTN_YES);
        boxes->answer(VMessageBox::BTN_OK);
        const auto boxesSeen = [this](std::size_t number) {
            return [this, number] {
                return boxes->seen().size() == number && !QApplication::activeModalWidget();
            };
        };
        const int ret = performScan({clickLater(*window, "btnClose"), beatUntil(boxesSeen(1)),
                                     clickLater(*window, "btnClose"), beatUntil(boxesSeen(2)),
                                     clickLater(*window, "btnClose"), beatUntil(boxesSeen(3))});
        QCOMPARE(ret, SCANRESULT_CANCELLED);
        const QString question = "Scanning is in progress. Do you want to stop scan process?";
        QCOMPARE(boxes->texts(),
                 QStringList({question, question, question, "Scan cancelled before completion"}));
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QVERIFY(window->isVisible());
        window->stopScan(); // no scan runs any more
        QVERIFY(!window->isVisible());
    }

    void memoryScanRestoresItsOption()
    {
        boxes->answer(VMessageBox::BTN_OK);
        const int ret =
            performMemoryScan({run([this] {
                                   QCOMPARE(int(scriptedEngine().held.memScan), 1);
                                   QCOMPARE(label("lblAction") + label("lblActionValue"), "");
                               }),
                               report("12 /bin/sh", SCANSTAT_CLEAN, nullptr, nullptr, OBJTYPE_PROCESS)});
        QCOMPARE(ret, 0);
        const std::vector<std::string> expected = {
            "SetOption 4",       "SetActionData /var/Quillstone/var/quarantine/vardo qst 0",
            "LogInit (null) -1", "DoMemoryScan 1",
            "SetOption 4",       "CloseLog"};
        QCOMPARE(scriptedEngine().changes(), expected);
        QCOMPARE(int(scriptedEngine().held.memScan), 0);
        QCOMPARE(boxes->texts(), QStringList("Memory scan completed successfully"));
        const std::vector<std::string> log = logOfLevel1();
        QVERIFY(log.at(log.size() - 3).ends_with("***\n\n")); // the banner's end
        QCOMPARE(log.at(log.size() - 2), std::string("Memory Scan started\n"));
        QCOMPARE(log.back(), std::string("Memory scan completed successfully\n"));
        verifyLastScanIsNow();
    }

    void memoryScanThatFailsOrStopsIsTold()
    {
        scriptedEngine().saved.memScan = scriptedEngine().held.memScan = 0;
        scriptedEngine().setResult("DoMemoryScan", -1);
        scriptedEngine().scanError = "why";
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performMemoryScan({}), -1);
        QCOMPARE(lastLogLine(), "SCAN ERR: why\n");
        QCOMPARE(int(scriptedEngine().held.memScan), 0);
        scriptedEngine().setResult("DoMemoryScan", 0);
        boxes->answer(VMessageBox::BTN_OK);
        QCOMPARE(performMemoryScan({clickLater(*window, "btnStop"), beat()}), SCANRESULT_CANCELLED);
        QCOMPARE(lastLogLine(), "Scan cancelled before completion\n");
        QCOMPARE(boxes->texts(), QStringList({"SCAN ERR: why", "Scan cancelled before completion"}));
    }

    void refusedOptionStartsNothing()
    {
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

    void lastScanReplacesALongerLineAndFollowsNoLink()
    {
        sandbox::writeFile(lastScan, std::string(100, 'x'));
        closeStatistics();
        QCOMPARE(performScan({}), 0);
        verifyLastScanIsNow();
        const std::string victim = "/opt/Quillstone/etc/victim";
        std::filesystem::rename(lastScan, victim);
        sandbox::writeFile(victim, "precious");
        std::filesystem::create_symlink(victim, lastScan);
        closeStatistics();
        QCOMPARE(performScan({}), -1);
        QCOMPARE(sandbox::readFile(victim), std::string("precious"));
        QCOMPARE(scriptedEngine().changes().back(), std::string("CloseLog"));
    }

    void timeCountsTicksDuringAScan()
    {
        closeStatistics();
        performScan({beatUntil([this] { return label("lblTime") == "00:00:01"; })});
        QVERIFY(!window->findChild<QTimer*>()->isActive());
        for (int tick = 1; tick < 3661; ++tick)
            QMetaObject::invokeMethod(window.get(), "slotScanTimer", Qt::DirectConnection);
        QCOMPARE(label("lblTime"), "01:01:01");
    }

    void detailsSurviveAsAFlagOnly()
    {
        const auto click = [this] { QTest::mouseClick(button("lnkDetail"), Qt::LeftButton); };
        const auto verify = [this](bool shown) {
            QCOMPARE(window->height(), shown ? 390 : 236);
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
        closeStatistics();
        performScan({});
        auto* value = window->findChild<QLabel*>("lblFileScanCntValue");
        for (int i = 0; i < 50; ++i) {
            value->setNum(i);
            QApplication::processEvents();
        }
        struct Painted : QObject
        {
            int times = 0;
            bool eventFilter(QObject*, QEvent* event) override
            {
                times += event->type() == QEvent::Paint;
                return false;
            }
        } painted;
        value->installEventFilter(&painted);
        value->setNum(51);
        QTRY_VERIFY(painted.times > 0);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestProgressWidget, 0, 0)
#include "tst_progresswidget.moc"
