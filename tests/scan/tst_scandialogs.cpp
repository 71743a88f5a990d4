#include "kit/framelessflags.h"
#include "scan/vgetuseraction.h"
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

namespace {

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

} // namespace

/// The dialogs that open during and after a scan.
class TestScanDialogs : public QObject
{
    Q_OBJECT

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

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        scriptedEngine().reset();
    }

    void promptAnswersTheEngine_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("data");
        QTest::newRow("no action") << "lnkNothing" << 0 << "";
        QTest::newRow("delete") << "lnkDelete" << 1 << "";
        QTest::newRow("rename") << "lnkRename" << 2 << "qst";
        QTest::newRow("quarantine") << "lnkQuarantine" << 3 << "/var/Quillstone/var/quarantine/vardo";
        QTest::newRow("close") << "btnScanCancel" << 5 << "";
    }

    void promptAnswersTheEngine()
    {
        QFETCH(QString, button);
        ModalBoxes boxes;
        boxes.handle([&button](QWidget* dialog) { click(dialog, button.toUtf8()); });
        boxes.handle([](QWidget* statistics) { statistics->close(); });
        Vardo engine("/none");
        VProgressWidget window(nullptr, "Scan", FRAMELESS_FLAGS);
        scriptedEngine().scanScript = {scripted::ask("/tmp/bad.com"), scripted::beat()};
        QCOMPARE(window.PerformScan(qApp, &engine), 0);
        QCOMPARE(boxes.texts(), QStringList({"VGetUserAction", "VScanStatisticsDialog"}));
        QCOMPARE(scriptedEngine().promptAnswers.size(), 1U);
        const scripted::PromptAnswer answer = scriptedEngine().promptAnswers.front();
        QTEST(answer.code, "code");
        QTEST(QString::fromStdString(answer.actData), "data");
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
        prompt(nullptr, [](QWidget* dialog) {
            QCOMPARE(label(dialog, "lblObjectName")->text(), "");
            QCOMPARE(label(dialog, "lblObjectName")->toolTip(), "");
        });
    }

    void promptFitsItsName()
    {
        for (const QByteArray& name : {QByteArray(27, 'W'), QByteArray("/a\n\n\n\n\n\r\nb")}) {
            prompt(name, [](QWidget* dialog) {
                const QRect shown = dialog->mask().boundingRect();
                QCOMPARE(shown.size(), dialog->size() - QSize(1, 1));
                const QLabel* shownName = label(dialog, "lblObjectName");
                QVERIFY(shown.contains(shownName->geometry()));
                QVERIFY(shownName->width() >= shownName->sizeHint().width());
                QVERIFY(shownName->sizeHint().height() < 2 * shownName->fontMetrics().height());
            });
        }
    }

    void promptShowsNamesAsTheyStand()
    {
        for (const char* name : {"/a<img src=x>b", "/a&b", "/a &lt;b&gt;", "/  a   b ", "/tmp/caf\u00e9"}) {
            prompt(name, [name](QWidget* dialog) {
                QCOMPARE(label(dialog, "lblObjectName")->text(), name);
                QCOMPARE(shownToolTip(dialog), name);
            });
        }
    }

    /// Marks that reverse the text after them would make one name look like another.
    void promptShowsWhatNamesHide()
    {
        prompt("/exe\u202e.fdp\x1b\u2028\U0001F600", [](QWidget* dialog) {
            const QString shown = "/exe\uFFFD.fdp\u241B\uFFFD\U0001F600";
            QCOMPARE(label(dialog, "lblObjectName")->text(), shown);
            QCOMPARE(shownToolTip(dialog), shown);
        });
    }

    void promptCannotBeLeftUnanswered()
    {
        prompt("/x", [](QWidget* dialog) {
            QTest::keyClick(dialog, Qt::Key_Escape);
            QVERIFY(dialog->isVisible());
            QVERIFY(!dialog->close());
            QVERIFY(dialog->isVisible());
        });
    }

    void promptHasShortcuts()
    {
        ModalBoxes boxes;
        boxes.handle([](QWidget* dialog) { QTest::keyClick(dialog, Qt::Key_Q, Qt::AltModifier); });
        VGetUserAction dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        QCOMPARE(dialog.getUserAction(), PROMPT_QUARANTINE);
    }

    void statisticsStandInTheirRows()
    {
        QS_InterfaceScanStatistics stats = {1,   2,    777,  777, 3,  10,  4, 40'000,
                                            100, 1000, 5000, 777, 66, 777, 88};
        const std::pair<const char*, int> expected[] = {
            {"lblDirsValue", 1},       {"lblObjsValue", 2},       {"lblInfectedValue", 6110},
            {"lblSuspiciousValue", 3}, {"lblCuredValue", 10},     {"lblCureFailedValue", 4},
            {"lblDeletedValue", 100},  {"lblRenamedValue", 1000}, {"lblQuarantinedValue", 5000},
            {"lblVirusesValue", 6110}, {"lblEncryptedValue", 66}, {"lblActionErrorsValue", 88},
        };
        ModalBoxes boxes;
        boxes.handle([&expected](QWidget* dialog) {
            QCOMPARE(dialog->size(), QSize(700, 360));
            for (const auto& [name, number] : expected)
                QCOMPARE(label(dialog, name)->text(), QString("<p align=\"right\">%1</p>").arg(number));
            click(dialog, "btnOk");
        });
        VScanStatisticsDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        dialog.showScanStatistics(&stats);
    }

    void statisticsWithoutNumbersShowZeros()
    {
        ModalBoxes boxes;
        boxes.handle([](QWidget* dialog) {
            QCOMPARE(label(dialog, "lblObjsValue")->text(), "0");
            QTest::keyClick(dialog, Qt::Key_C, Qt::AltModifier);
        });
        VScanStatisticsDialog(nullptr, nullptr, true, FRAMELESS_FLAGS).showScanStatistics(nullptr);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanDialogs, 1000, 1000)
#include "tst_scandialogs.moc"
