#include "kit/framelessflags.h"
#include "scan/vmemscandialog.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <filesystem>
#include <thread>

using namespace scripted;

namespace {

constexpr char conf[] = "/opt/Quillstone/etc/qsav.conf";

QWidget* dialog()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == "AVInitializer")
            return window;
    }
    return nullptr;
}

QString status()
{
    return dialog() ? dialog()->findChild<QLabel*>("lblAVInit")->text() : QString();
}

QAbstractButton* stopButton()
{
    return dialog()->findChild<QAbstractButton*>("btnStop");
}

} // namespace

class TestMemScanDialog : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};
    std::atomic<bool> released = false;

    /// A step that keeps the worker busy until release().
    Step held()
    {
        return run([this] {
            while (!released)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }

    /// Runs the window and calls `look` once the status reads `text`; what it throws away, it releases.
    int scanMemory(const QString& text, const std::function<void()>& look)
    {
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&] {
            if (released || status() != text)
                return;
            look();
            released = true;
        });
        timer.start(1);
        released = false;
        return ScanMemory(conf, &engine);
    }

    static void verifyItStays()
    {
        QVERIFY(!dialog()->close());
        QTest::keyClick(dialog(), Qt::Key_Escape);
        QVERIFY(dialog()->isVisible());
    }

    static QStringList changes()
    {
        QStringList calls;
        for (const std::string& call : scriptedEngine().changes())
            calls << QString::fromStdString(call);
        return calls;
    }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        scriptedEngine().reset();
    }

    void loadsAndGoesByItself()
    {
        scriptedEngine().initScript = {held()};
        bool looked = false;
        QCOMPARE(scanMemory("Initializing AV! Wait...",
                            [&] {
                                looked = true;
                                QCOMPARE(dialog()->size(), QSize(400, 155));
                                QVERIFY(stopButton()->isHidden());
                                verifyItStays();
                            }),
                 0);
        QVERIFY(looked);
        QCOMPARE(changes(), QStringList(QString("VardoAVInit %1 1").arg(conf)));
        QVERIFY(!dialog());
    }

    void failuresAreToldByTheResultAlone()
    {
        const QString load = QString("VardoAVInit %1 1").arg(conf);
        const struct
        {
            const char* call;
            int result;
            QStringList changes;
        } rows[] = {{"VardoAVInit", -1, {load}},
                    {"GetOption 4", 0, {load}}, // the setting that asks for the scan
                    {"DoMemoryScan", 0, {load, "DoMemoryScan 1"}}};
        for (const auto& row : rows) {
            scriptedEngine().reset();
            scriptedEngine().held.memScan = 1;
            scriptedEngine().setResult(row.call, -1);
            QCOMPARE(ScanMemory(conf, &engine), row.result);
            QCOMPARE(changes(), row.changes);
        }
    }

    void missingArgumentsAreShown()
    {
        VMemScanDialog form(nullptr, "AVInitializer", false, FRAMELESS_FLAGS);
        form.ScanMemory(nullptr, &engine);
        form.show();
        QCOMPARE(status(), "Error! Invalid parameters");
        QVERIFY(form.close());
        QVERIFY(changes().isEmpty());
    }

    // The last one: the wish to stop is never taken back.
    void scanStopsAtTheNextCall()
    {
        scriptedEngine().held.memScan = 1;
        scriptedEngine().memoryScript = {
            report("1 /sbin/init", SCANSTAT_INFECTED, "v", nullptr, OBJTYPE_PROCESS), held(), beat(), beat()};
        QCOMPARE(scanMemory("Scanning Memory",
                            [&] {
                                QVERIFY(stopButton()->isVisible());
                                QCOMPARE(stopButton()->text(), "&Cancel");
                                verifyItStays();
                                QTest::mouseClick(stopButton(), Qt::LeftButton);
                                QVERIFY(dialog()->isVisible());
                            }),
                 0);
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_CONTINUE, CALLBACK_STOP}));
        QVERIFY(scriptedEngine().log().empty());
        QVERIFY(!std::filesystem::exists("/opt/Quillstone/etc/vardo/.lastScan"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestMemScanDialog, 1000, 1000)
#include "tst_memscandialog.moc"
