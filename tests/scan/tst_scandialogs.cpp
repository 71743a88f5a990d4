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

    void promptAnswersTheEngine()
    {
        const struct
        {
            const char* button;
            int code;
            std::string data;
        } rows[] = {{"lnkNothing", 0, ""},
                    {"lnkDelete", 1, ""},
                    {"lnkRename", 2, "qst"},
                    {"lnkQuarantine", 3, "/var/Quillstone/var/quarantine/vardo"},
                    {"btnScanCancel", 5, ""}};
        ModalBoxes boxes;
        Vardo engine("/none");
        VProgressWidget window(nullptr, "Scan", FRAMELESS_FLAGS);
        for (const auto& row : rows) {
            boxes.handle([&row](QWidget* dialog) { click(dialog, row.button); });
            scriptedEngine().scanScript.push_back(scripted::ask("/tmp/bad.com"));
        }
        boxes.handle([](QWidget* statistics) { statistics->close(); });
        scriptedEngine().scanScript.push_back(scripted::beat());
        QCOMPARE(window.PerformScan(qApp, &engine), 0);
        QCOMPARE(boxes.texts(), QStringList(5, "VGetUserAction") + QStringList("VScanStatisticsDialog"));
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            QCOMPARE(scriptedEngine().promptAnswers.at(i).code, rows[i].code);
            QCOMPARE(scriptedEngine().promptAnswers.at(i).actData, rows[i].data);
        }
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

    /// As they stand, but for marks that would make one look like another.
    void promptShowsNamesSafely()
    {
        const std::pair<const char*, const char*> rows[] = {
            {"/a<img src=x>b", "/a<img src=x>b"},
            {"/a&b", "/a&b"},
            {"/a &lt;b&gt;", "/a &lt;b&gt;"},
            {"/  a   b ", "/  a   b "},
            {"/tmp/caf\u00e9", "/tmp/caf\u00e9"},
            {"/exe\u202e.fdp\x1b\u2028\U0001F600", "/exe\uFFFD.fdp\u241B\uFFFD\U0001F600"},
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
            QTest::keyClick(dialog, Qt::Key_Escape);
            QVERIFY(dialog->isVisible());
            QVERIFY(!dialog->close());
            QVERIFY(dialog->isVisible());
            QTest::keyClick(dialog, Qt::Key_Q, Qt::AltModifier);
        });
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
