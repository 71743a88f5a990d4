#include "scan/vprogresswidget.h"
#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QStackedWidget>
#include <QTest>
#include <QTreeWidget>

#include <unistd.h>

using namespace scripted;

namespace {

VProgressWidget* progressWindow()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* progress = qobject_cast<VProgressWidget*>(window))
            return progress;
    }
    return nullptr;
}

} // namespace

/// The links that start scans. Run as a user with a home directory and as one without.
class TestScanLaunch : public MainWindowTest
{
    Q_OBJECT

    const bool hasHome = getuid() == 1000;

    void start(const char* slot) { QVERIFY(QMetaObject::invokeMethod(window.get(), slot)); }

    void closeStatistics()
    {
        boxes->handle([](QWidget* dialog) { dialog->close(); });
    }

    /// A file scan's calls between what its launcher prepares and how it ends.
    static QStringList fileScan(const QStringList& preparation, const char* caption,
                                const QStringList& end = {"progress window gone", "ReadConfiguration (null)"})
    {
        return preparation +
               QStringList({"ResetResult", "SetActionData /var/Quillstone/var/quarantine/vardo qst 0",
                            "LogInit (null) -1", "DoScan", caption, "CloseLog"}) +
               end;
    }

    /// Checks "/" in the tree and starts the scan.
    void chooseAll()
    {
        boxes->handle([this](QWidget* dialog) {
            QCOMPARE(dialog->geometry(), QRect(30 + 57, 20 + 57, 610, 450));
            auto* tree = dialog->findChild<QTreeWidget*>("lstDirView");
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {},
                              tree->visualItemRect(tree->topLevelItem(0)).center());
            QTest::mouseClick(dialog->findChild<QAbstractButton*>("btnScan"), Qt::LeftButton);
        });
    }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        scriptedEngine().reset();
        openWindow();
        const Step look = run([this] {
            scriptedEngine().call(progressWindow()->findChild<QLabel*>("lblTitle")->text().toStdString());
            QCOMPARE(progressWindow()->geometry(), QRect(30 + 82, 20 + 164, 560, 236));
            QObject::connect(progressWindow(), &QObject::destroyed,
                             [] { scriptedEngine().call("progress window gone"); });
        });
        scriptedEngine().scanScript = scriptedEngine().memoryScript = {look};
        scriptedEngine().clearJournal();
    }

    void cleanup() { closeWindow(); }

    void customScanTakesWhatWasChosen()
    {
        chooseAll();
        closeStatistics();
        click("lnkSelect");
        // The options come back while the progress window is still there.
        QCOMPARE(changes(),
                 fileScan({"ClearObjects", "SetObjectList d:/"}, "Scan progress for selected objects",
                          {"ReadConfiguration (null)", "progress window gone"}));
    }

    void homeScanTakesOwnHomeOnly()
    {
        if (!hasHome) {
            boxes->answer(VMessageBox::BTN_OK);
            start("slotScanHome");
            QCOMPARE(boxes->texts(), QStringList("Missing home directory for user!"));
            QVERIFY(changes().isEmpty());
            return;
        }
        closeStatistics();
        start("slotScanHome");
        QCOMPARE(changes(), fileScan({"ClearObjects", "AddObject /home/tester", "UnsetScanOption 0x8"},
                                     "Scan progress for home directories"));
        QVERIFY(!progressWindow());
    }

    void computerScanCrossesFileSystems()
    {
        scriptedEngine().saved.scanOpts = scriptedEngine().held.scanOpts = SCANFLAG_FOLLOW_SYMLINKS;
        scriptedEngine().scanScript.push_back(
            run([] { QCOMPARE(scriptedEngine().held.scanOpts, unsigned(SCANFLAG_CROSS_FS)); }));
        closeStatistics();
        start("slotScanEntire");
        QCOMPARE(changes(),
                 fileScan({"ClearObjects", "AddObject /", "UnsetScanOption 0x8", "SetScanOption 0x10"},
                          "Scan progress for computer"));
        QCOMPARE(scriptedEngine().held.scanOpts, unsigned(SCANFLAG_FOLLOW_SYMLINKS));
    }

    void refusalEndsTheHomeScanAlone()
    {
        for (const char* call : {"AddObject", "SetObjectList"})
            scriptedEngine().setResult(call, -1);
        boxes->answer(VMessageBox::BTN_OK);
        start("slotScanHome");
        QVERIFY(!changes().contains("DoScan"));
        chooseAll();
        for (const char* slot : {"slotScanSelected", "slotScanEntire"}) {
            boxes->answer(VMessageBox::BTN_OK);
            closeStatistics();
            scriptedEngine().clearJournal();
            start(slot);
            QVERIFY(changes().contains("DoScan"));
        }
        const QString error = "Error! Try again";
        QCOMPARE(boxes->texts(),
                 QStringList({hasHome ? error : "Missing home directory for user!", "VObjectSelectionDialog",
                              error, "VScanStatisticsDialog", error, "VScanStatisticsDialog"}));
    }

    void nothingChosenNothingScanned()
    {
        boxes->handle([](QWidget* dialog) { dialog->close(); });
        start("slotScanSelected");
        QCOMPARE(changes(), QStringList("ClearObjects"));
    }

    void memoryScanKeepsUnsavedSettings()
    {
        boxes->answer(VMessageBox::BTN_OK);
        start("slotScanMemory");
        QVERIFY(changes().contains("Scan progress for memory"));
        QCOMPARE(changes().mid(0, 2), QStringList({"ClearObjects", "ResetResult"}));
        QVERIFY(changes().contains("DoMemoryScan 1"));
        QVERIFY(!changes().contains("ReadConfiguration (null)"));
    }

    void fullScanAsks()
    {
        for (int answer : {int(VMessageBox::BTN_NO), 0}) {
            boxes->answer(answer);
            start("slotFullScan");
        }
        QVERIFY(changes().isEmpty());
        boxes->answer(VMessageBox::BTN_YES);
        closeStatistics();
        start("slotFullScan");
        QCOMPARE(boxes->texts().front(), "Do you want to run a full system check for viruses now?");
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QVERIFY(changes().contains("AddObject /"));
    }

    void oneScanAtATime()
    {
        scriptedEngine().scanScript.push_back(run([this] {
            scriptedEngine().clearJournal();
            for (const char* slot : {"slotScanSelected", "slotScanHome", "slotScanEntire", "slotScanMemory"})
                start(slot);
            start("slotFullScan"); // asks, and does nothing after the answer
            QVERIFY(changes().isEmpty());
        }));
        boxes->answer(VMessageBox::BTN_YES);
        closeStatistics();
        start("slotScanEntire");
        QCOMPARE(boxes->seen().size(), 2U);
    }

    void scanPageIsRefreshedInTheEnd()
    {
        find<QStackedWidget>("wgtstkMain")->setCurrentIndex(VMainWidget::HelpPage);
        boxes->answer(VMessageBox::BTN_OK);
        start("slotScanMemory");
        QTRY_COMPARE(page(), int(VMainWidget::ScanPage));
        const QString date = QString::fromStdString(sandbox::readFile("/opt/Quillstone/etc/vardo/.lastScan"));
        QTRY_COMPARE(textOf("lnkLastScan"), date.trimmed());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanLaunch, 0, 0)
#include "tst_scanlaunch.moc"
