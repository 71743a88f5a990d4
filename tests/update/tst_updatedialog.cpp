#include "kit/framelessflags.h"
#include "kit/vtextpane.h"
#include "tests/support/modalboxes.h"
#include "tests/support/scriptedengine.h"
#include "update/updateoutcome.h"
#include "update/vupdatedialog.h"

#include <QAbstractButton>
#include <QLabel>
#include <QProgressBar>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <stdexcept>
#include <thread>

using VMB = VMessageBox;

namespace {

/// A run that goes on until the test ends it.
class LongRun
{
  public:
    LongRun()
    {
        scriptedEngine().updateRun = [this](AVUpdateCallBack callback, AVUpdateContextData context) {
            while (!ended)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            lastAnswer = callback(7, nullptr, 0, 0, context);
            return result.load();
        };
    }

    std::atomic<bool> ended = false;
    std::atomic<int> result = UPDATE_DONE;
    std::atomic<int> lastAnswer = -1;
};

template <class Widget = QLabel>
Widget* find(QWidget& dialog, const char* name)
{
    return dialog.findChild<Widget*>(name);
}

void click(QWidget& dialog, const char* button)
{
    QTest::mouseClick(find<QAbstractButton>(dialog, button), Qt::LeftButton);
}

bool wasCalled(const char* call)
{
    const std::vector<std::string> journal = scriptedEngine().journal();
    return std::find(journal.begin(), journal.end(), call) != journal.end();
}

/// What exec() returns when `meanwhile` happens in it.
int execWith(VUpdateDialog& dialog, const std::function<void()>& meanwhile)
{
    QTimer::singleShot(0, &dialog, meanwhile);
    return dialog.exec();
}

} // namespace

/// The dialog on the scripted engine. The failure that never goes away comes last.
class TestUpdateDialog : public QObject
{
    Q_OBJECT

  private slots:
    void init() { scriptedEngine().reset(); }
    void cleanup() { scriptedEngine().reset(); } // a thread sanitizer does not see that Qt waits for threads

    void showsTheRunInOrder();
    void endsWithTheResult_data();
    void endsWithTheResult();
    void endsThatCameEarlyCount();
    void foldsOutTheDetails();
    void stopsWhenTheUserSaysSo();
    void goesOnWhenTheUserSaysNo();
    void takesBackTheQuestionAtTheEnd();
    void escapeCountsAsUpdated();
    void tellsTheOutcome();
    void failureOutlivesTheRun();
};

void TestUpdateDialog::showsTheRunInOrder()
{
    QStringList phases;
    QString bytes;
    std::atomic<int> answers = 0;
    scriptedEngine().updateRun = [&answers](AVUpdateCallBack callback, AVUpdateContextData context) {
        answers += callback(4, nullptr, 0, 0, context);
        answers += callback(4, "server", 0, 0, context);
        answers += callback(6, "a line", 0, 0, context);
        answers += callback(5, "server", 0, 0, context);
        answers += callback(6, "another <b>one</b>", 0, 0, context);
        answers += callback(8, nullptr, (1LL << 32) + 2048 * 1024 + 1023, 512 * 1024 + 1, context);
        answers += callback(9, nullptr, 0, 0, context);
        for (const int ignored : {0, 3, 7, 10, 12})
            answers += callback(ignored, "ignored", 1, 1, context);
        answers += callback(6, "no dialog", 0, 0, nullptr);
        return UPDATE_DONE;
    };
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.objectName(), "VUpdateDialog");
    QCOMPARE(find(dialog, "lblByteProgress")->text(), "0/0KB");
    QCOMPARE(find(dialog, "lblServer")->text(), "Downloading AntiVirus and Anti-Spyware Databases...");
    QCOMPARE(dialog.exec(), 0);
    QCOMPARE(answers, 0);
    QCOMPARE(find(dialog, "lblServer")->text(), "Install started from server");
    QCOMPARE(find<VTextPane>(dialog, "txtUpdateDetails")->text(), "a line\nanother <b>one</b>\n");
    // The bar sees the low 32 bits of the totals, the label those of the kilobytes.
    QCOMPARE(find<QProgressBar>(dialog, "dlProgress")->maximum(), 2048 * 1024 + 1023);
    QCOMPARE(find<QProgressBar>(dialog, "dlProgress")->value(), 512 * 1024 + 1);
    QCOMPARE(find(dialog, "lblByteProgress")->text(), "512 / 4196352 KB");
    QCOMPARE(scriptedEngine().journal(),
             (std::vector<std::string>{
                 "vUpdate /opt/Quillstone/etc/qsav.conf /opt/Quillstone/etc/updates.conf",
                 "vUpdate::ReadConfiguration PathConf (null)", "vUpdate::ReadConfiguration UpdateConf (null)",
                 "DoUpdate (null)", "~vUpdate"}));
}

void TestUpdateDialog::endsWithTheResult_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("expected");
    QTest::newRow("updated") << "DoUpdate" << 0 << 0;
    QTest::newRow("another one") << "DoUpdate" << 1 << 1;
    QTest::newRow("failed") << "DoUpdate" << -1 << -1;
    QTest::newRow("no lock") << "DoUpdate" << -2 << -2;
    QTest::newRow("paths unreadable") << "vUpdate::ReadConfiguration PathConf (null)" << -1 << 100;
    QTest::newRow("settings unreadable") << "vUpdate::ReadConfiguration UpdateConf (null)" << -1 << 100;
    QTest::newRow("thrown") << "throw" << 0 << 111;
}

void TestUpdateDialog::endsWithTheResult()
{
    QFETCH(const QString, failing);
    QFETCH(const int, answer);
    QFETCH(const int, expected);
    if (failing == "throw")
        scriptedEngine().updateRun = [](auto, auto) -> int { throw "the engine's text"; };
    else
        scriptedEngine().setResult(failing.toStdString(), answer);
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QCOMPARE(dialog.exec(), expected);
    QCOMPARE(wasCalled("DoUpdate (null)"), expected != 100);
}

void TestUpdateDialog::endsThatCameEarlyCount()
{
    scriptedEngine().setResult("DoUpdate", 1);
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QVERIFY(QTest::qWaitFor([&dialog] { return !dialog.isVisible(); }));
    QCOMPARE(dialog.exec(), 1);
    QVERIFY(!dialog.isVisible());
}

void TestUpdateDialog::foldsOutTheDetails()
{
    LongRun run;
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    auto* const pane = find<VTextPane>(dialog, "txtUpdateDetails");
    auto* const link = find<QAbstractButton>(dialog, "lnkShow");
    const auto look = [&](bool shown, int height, const char* text) {
        QCOMPARE(pane->isVisible(), shown);
        QCOMPARE(dialog.size(), QSize(470, height));
        QCOMPARE(link->text(), text);
    };
    look(false, 196, "Show Detail <<");
    click(dialog, "lnkShow");
    look(true, 350, "Hide Detail >>");
    click(dialog, "lnkShow");
    look(false, 196, "Show Detail <<");
    run.ended = true;
}

void TestUpdateDialog::stopsWhenTheUserSaysSo()
{
    LongRun run;
    run.result = UPDATE_DONE;
    {
        VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        ModalBoxes boxes;
        boxes.handle([&dialog](QWidget*) { click(dialog, "btnStop"); });
        boxes.answer(VMB::BTN_YES);
        QCOMPARE(dialog.exec(), 2);
        QCOMPARE(boxes.texts().last(), "Update process is running. Do you want to stop update process?");
        QVERIFY(!run.ended);
        QVERIFY(wasCalled("signal_update_term 1"));
        run.ended = true;
    }
    // The dialog did not go before its worker, which was told once more.
    QCOMPARE(run.lastAnswer, 2);
    QVERIFY(wasCalled("~vUpdate"));
}

void TestUpdateDialog::goesOnWhenTheUserSaysNo()
{
    LongRun run;
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    ModalBoxes boxes;
    // Return presses the default button.
    boxes.handle([&dialog](QWidget*) { QTest::keyClick(&dialog, Qt::Key_Return); });
    boxes.answer(VMB::BTN_NO);
    QTimer::singleShot(300, &dialog, [&run] { run.ended = true; });
    QCOMPARE(dialog.exec(), 0);
    QCOMPARE(run.lastAnswer, 0);
    QVERIFY(!wasCalled("signal_update_term 1"));
}

void TestUpdateDialog::takesBackTheQuestionAtTheEnd()
{
    LongRun run;
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    ModalBoxes boxes;
    boxes.handle([&dialog](QWidget*) { click(dialog, "btnClose"); });
    boxes.handle([&run](QWidget*) { run.ended = true; });
    QCOMPARE(dialog.exec(), 0);
    QVERIFY(!wasCalled("signal_update_term 1"));
}

void TestUpdateDialog::escapeCountsAsUpdated()
{
    LongRun run;
    run.result = UPDATE_ERROR;
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QCOMPARE(execWith(dialog, [&dialog] { QTest::keyClick(&dialog, Qt::Key_Escape); }), 0);
    run.ended = true;
}

void TestUpdateDialog::tellsTheOutcome()
{
    const std::pair<int, const char*> rows[] = {
        {0, "Vardo database has been updated."},
        {1, "Perhaps another instance of update already running"},
        {2, "Update cancelled before finish"},
        {-1, "Error updating virus signatures"},
        {200, "Error updating virus signatures"},
        {-2, "Error getting update lock"},
        {100, "Error initializing update instance"},
        {111, "Unknown update error"},
        {-3, "Unknown update error"},
    };
    for (const auto& [result, text] : rows) {
        ModalBoxes boxes;
        boxes.answer(VMB::BTN_OK);
        showUpdateOutcome(nullptr, result, &QObject::tr);
        QCOMPARE(boxes.texts(), QStringList(text));
    }
}

void TestUpdateDialog::failureOutlivesTheRun()
{
    scriptedEngine().updateRun = [](AVUpdateCallBack callback, AVUpdateContextData context) {
        callback(11, nullptr, 0, 0, context);
        return UPDATE_ERROR;
    };
    {
        VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
        QCOMPARE(dialog.exec(), 200);
        QCOMPARE(find<VTextPane>(dialog, "txtUpdateDetails")->text(), "Updates failed\n");
    }
    scriptedEngine().reset();
    VUpdateDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QCOMPARE(dialog.exec(), 200);
}

QTEST_MAIN(TestUpdateDialog)
#include "tst_updatedialog.moc"
