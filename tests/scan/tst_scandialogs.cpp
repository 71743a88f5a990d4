#include "kit/framelessflags.h"
#include "scan/vgetuseraction.h"
#include "scan/vmemscandialog.h"
#include "scan/vprogresswidget.h"
#include "scan/vscanstatisticsdialog.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTextDocument>
#include <QTimer>

#include <atomic>
#include <filesystem>
#include <thread>

using namespace scripted;

namespace {

constexpr char conf[] = "/opt/Quillstone/etc/qsav.conf";

void click(QWidget* dialog, const char* button)
{
    QTest::mouseClick(dialog->findChild<QAbstractButton*>(button), Qt::LeftButton);
}

QLabel* label(QWidget* dialog, const char* name)
{
    return dialog->findChild<QLabel*>(name);
}

/// The prompt's tool tip as the user reads it.
QString shownToolTip(QWidget* dialog)
{
    const QString toolTip = label(dialog, "lblObjectName")->toolTip();
    QTextDocument shown;
    shown.setHtml(toolTip);
    return Qt::mightBeRichText(toolTip) ? shown.toPlainText() : toolTip;
}

/// Neither a key nor a request of the window system ends it.
void verifyItStays(QWidget* dialog)
{
    QVERIFY(!dialog->close());
    QTest::keyClick(dialog, Qt::Key_Escape);
    QVERIFY(dialog->isVisible());
}

QStringList changes()
{
    QStringList calls;
    for (const std::string& call : scriptedEngine().changes())
        calls << QString::fromStdString(call);
    return calls;
}

} // namespace

/// The dialogs that open before, during and after a scan.
class TestScanDialogs : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};
    std::atomic<bool> released = false;

    /// Prompts for `name` and gives the dialog to `look`, then takes "No Action".
    void prompt(const char* name, const std::function<void(QWidget*)>& look)
    {
        ModalBoxes boxes;
        boxes.handle([&look](QWidget* dialog) {
            look(dialog);
            click(dialog, "lnkNothing");
        });
        VGetUserAction dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        QCOMPARE(dialog.getUserAction(name), PROMPT_NOTHING);
    }

    /// A step that keeps the worker of the memory scan busy until the window was looked at.
    Step held()
    {
        return run([this] {
            while (!released)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    }

    /// Loads the engine and calls `look` with the window once that shows `status`.
    int scanMemory(const QString& status, const std::function<void(QWidget*)>& look)
    {
        released = false;
        QTimer timer;
        timer.callOnTimeout([&] {
            QWidget* dialog = QApplication::activeModalWidget();
            if (released || !dialog || label(dialog, "lblAVInit")->text() != status)
                return;
            look(dialog);
            released = true;
        });
        timer.start(1);
        return ScanMemory(conf, &engine);
    }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        scriptedEngine().reset();
    }

    void promptAnswersTheEngine()
    {
        ModalBoxes boxes;
        for (const char* button :
             {"lnkNothing", "lnkDelete", "lnkRename", "lnkQuarantine", "btnScanCancel"}) {
            boxes.handle([button](QWidget* dialog) { click(dialog, button); });
            scriptedEngine().scanScript.push_back(ask("/tmp/bad.com"));
        }
        boxes.handle([](QWidget* statistics) { statistics->close(); });
        scriptedEngine().scanScript.push_back(beat());
        VProgressWidget window(nullptr, "Scan", FRAMELESS_FLAGS);
        QCOMPARE(window.PerformScan(qApp, &engine), 0);
        QString answers;
        for (const auto& [code, data] : scriptedEngine().promptAnswers)
            answers += QString("%1%2 ").arg(code).arg(QString::fromStdString(data));
        QCOMPARE(answers, "0 1 2qst 3/var/Quillstone/var/quarantine/vardo 5 ");
        // No answer stops the scan.
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_CONTINUE}));
    }

    void promptCutsLongNames()
    {
        const QByteArray name(27, 'n');
        prompt(name, [&](QWidget* dialog) { QCOMPARE(label(dialog, "lblObjectName")->text(), name); });
        prompt(name + 'x', [&](QWidget* dialog) {
            QCOMPARE(label(dialog, "lblObjectName")->text(), name + "...");
            QCOMPARE(shownToolTip(dialog), name + 'x');
        });
        // A character is shown as a whole or not at all.
        prompt(name.left(26) + "\U0001F600", [&](QWidget* dialog) {
            QCOMPARE(label(dialog, "lblObjectName")->text(), name.left(26) + "...");
        });
        prompt(nullptr, [](QWidget* dialog) {
            QCOMPARE(label(dialog, "lblObjectName")->text() + shownToolTip(dialog), "");
        });
    }

    void promptFitsItsName()
    {
        for (const QByteArray& name : {QByteArray(255, 'W'), QByteArray("/a\n\n\n\n\n\r\nb")}) {
            prompt(name, [](QWidget* dialog) {
                const QLabel* shownName = label(dialog, "lblObjectName");
                QVERIFY(dialog->mask().boundingRect().contains(shownName->geometry()));
                QVERIFY(shownName->width() >= shownName->sizeHint().width());
                QVERIFY(shownName->sizeHint().height() < 2 * shownName->fontMetrics().height());
                QLabel toolTip(shownName->toolTip());
                toolTip.setWordWrap(true); // as that of a tip with rich text
                QVERIFY(toolTip.sizeHint().width() < dialog->screen()->size().width());
            });
        }
    }

    /// As they stand, but for marks that would make one look like another.
    void promptShowsNamesSafely()
    {
        const std::pair<const char*, const char*> rows[] = {
            {"/a<img src=x>&b", "/a<img src=x>&b"},
            {"/  a &lt;b&gt; ", "/  a &lt;b&gt; "},
            {"/exe\u202e.fdp\x1b\u2028\ufeff\U0001F600", "/exe\uFFFD.fdp\u241B\uFFFD\uFFFD\U0001F600"},
        };
        for (const auto& [name, shown] : rows) {
            prompt(name, [text = QString(shown)](QWidget* dialog) {
                QCOMPARE(label(dialog, "lblObjectName")->text(), text);
                QCOMPARE(shownToolTip(dialog), text);
            });
        }
    }

    void promptCannotBeLeftUnanswered()
    {
        ModalBoxes boxes;
        boxes.handle([](QWidget* dialog) {
            verifyItStays(dialog);
            QTest::keyClick(dialog, Qt::Key_Q, Qt::AltModifier);
        });
        VGetUserAction dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        QCOMPARE(dialog.getUserAction(), PROMPT_QUARANTINE);
    }

    void statisticsStandInTheirRows()
    {
        QS_InterfaceScanStatistics numbers = {1,   2,    777,  777, 3,  10,  4, 40'000,
                                              100, 1000, 5000, 777, 66, 777, 88};
        const std::pair<QS_InterfaceScanStatistics*, const char*> rows[] = {
            {&numbers, "1 2 6110 3 10 4 100 1000 5000 6110 66 88"}, {nullptr, "0 0 0 0 0 0 0 0 0 0 0 0"}};
        for (const auto& [stats, expected] : rows) {
            ModalBoxes boxes;
            boxes.handle([shown = QString(expected)](QWidget* dialog) {
                QStringList values;
                for (const char* name :
                     {"Dirs", "Objs", "Infected", "Suspicious", "Cured", "CureFailed", "Deleted", "Renamed",
                      "Quarantined", "Viruses", "Encrypted", "ActionErrors"})
                    values << label(dialog, qPrintable(QString("lbl%1Value").arg(name)))->text();
                QCOMPARE(values.join(' ').remove("<p align=\"right\">").remove("</p>"), shown);
                QTest::keyClick(dialog, Qt::Key_C, Qt::AltModifier);
            });
            VScanStatisticsDialog(nullptr, nullptr, true, FRAMELESS_FLAGS).showScanStatistics(stats);
        }
    }

    void engineLoadsAndTheWindowGoesByItself()
    {
        scriptedEngine().initScript = {held()};
        QCOMPARE(scanMemory("Initializing AV! Wait...",
                            [](QWidget* dialog) {
                                QCOMPARE(dialog->objectName(), "AVInitializer");
                                QVERIFY(dialog->findChild<QWidget*>("btnStop")->isHidden());
                                verifyItStays(dialog);
                            }),
                 0);
        QVERIFY(released);
        QCOMPARE(changes(), QStringList(QString("VardoAVInit %1 1").arg(conf)));
    }

    void failuresOfTheMemoryScanAreToldByTheResultAlone()
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
        QCOMPARE(label(&form, "lblAVInit")->text(), "Error! Invalid parameters");
        QVERIFY(form.close());
        QVERIFY(changes().isEmpty());
    }

    // The last one: the wish to stop is never taken back.
    void memoryScanStopsAtTheNextCall()
    {
        scriptedEngine().held.memScan = 1;
        scriptedEngine().memoryScript = {
            report("1 /sbin/init", SCANSTAT_INFECTED, "v", nullptr, OBJTYPE_PROCESS), held(), beat(), beat()};
        QCOMPARE(scanMemory("Scanning Memory",
                            [](QWidget* dialog) {
                                verifyItStays(dialog);
                                click(dialog, "btnStop");
                                QVERIFY(dialog->isVisible());
                            }),
                 0);
        QCOMPARE(scriptedEngine().callbackAnswers, std::vector<int>({CALLBACK_CONTINUE, CALLBACK_STOP}));
        QVERIFY(scriptedEngine().log().empty());
        QVERIFY(!std::filesystem::exists("/opt/Quillstone/etc/vardo/.lastScan"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanDialogs, 1000, 1000)
#include "tst_scandialogs.moc"
