#include "kit/framelessflags.h"
#include "kit/vcheckbox.h"
#include "schedule/vobjectselectiondialog.h"
#include "schedule/vscheduledialog.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"
#include "tests/support/scriptedengine.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDateTime>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>

#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace {

const std::string store = "/opt/Quillstone/etc/vardo/schedule.conf";
const std::string saveCall =
    "vSchedule::SaveSchedule /opt/Quillstone/etc/vardo/qsschedule.cron root " + store + ' ';
constexpr char saved[] = "Schedule save successfully";
constexpr char exists[] = "Job of given name already exists!";
constexpr char question[] = "Do you want to save the changes?";
constexpr char objectsMissing[] = "Directories/files must be specified!";
const fs::path cronScript = "/etc/init.d/cron";

} // namespace

/// The editor of a scheduled scan, on the scripted engine.
class TestScheduleDialog : public QObject
{
    Q_OBJECT

    std::unique_ptr<VScheduleDialog> dialog;

    template <class Widget>
    Widget* find(const char* name)
    {
        auto* widget = dialog->findChild<Widget*>(name);
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }
    int value(const char* spin) { return find<QSpinBox>(spin)->value(); }
    bool isOn(const char* button) { return find<QAbstractButton>(button)->isChecked(); }

    void open(const char* name = nullptr)
    {
        dialog = std::make_unique<VScheduleDialog>(nullptr, nullptr, false, FRAMELESS_FLAGS);
        if (name)
            dialog->init(name);
        dialog->show();
        scriptedEngine().clearJournal();
    }
    void press(const char* button)
    {
        QTest::mouseClick(find<QAbstractButton>(button), Qt::LeftButton, {}, {10, 10});
    }
    /// Presses the button and tells what the boxes said that came up, each answered by its code.
    QString said(const char* button, std::initializer_list<int> codes = {VMessageBox::BTN_OK})
    {
        ModalBoxes boxes;
        for (const int code : codes)
            boxes.answer(code);
        press(button);
        return boxes.texts().join(" | ");
    }
    /// What of the controls of the time can be changed, as initials.
    QString enabled()
    {
        QString seen;
        for (const char* name : {"spinMonth", "spinDate", "spinHour", "spinMin", "cmbWeekDay"})
            seen += find<QWidget>(name)->isEnabled() ? QChar(name[name[0] == 's' ? 4 : 3]) : QChar(u'-');
        return seen;
    }
    /// Takes these entries of the home directory out of the tree.
    void browse(const QStringList& names)
    {
        ModalBoxes boxes;
        boxes.handle([&](QWidget* window) {
            auto* tree = window->findChild<QTreeWidget*>("lstDirView");
            auto* picker = qobject_cast<VObjectSelectionDialog*>(window);
            QCOMPARE(window->findChild<QAbstractButton*>("btnScan")->text(), "Add");
            QTreeWidgetItem* home = tree->topLevelItem(0);
            for (const char* step : {"home", "tester"}) {
                home->setExpanded(true);
                for (int i = 0; home->text(0) != step; ++i)
                    home = home->child(i)->text(0) == step ? home->child(i) : home;
            }
            home->setExpanded(true);
            for (int i = 0; i < home->childCount(); ++i) {
                if (names.contains(home->child(i)->text(0)))
                    picker->itemClicked(home->child(i));
            }
            QTest::mouseClick(window->findChild<QAbstractButton*>("btnScan"), Qt::LeftButton);
        });
        press("btnBrowse");
    }
    /// The last parts of the paths in the list.
    QString objects()
    {
        QStringList names;
        const auto* list = find<QListWidget>("lstObjList");
        for (int row = 0; row < list->count(); ++row)
            names << list->item(row)->text().section('/', -1);
        return names.join(' ');
    }

  private slots:
    void init()
    {
        scriptedEngine().reset();
        sandbox::makeInstallation();
        for (const char* name : {"a", "b", "caf\xE9"})
            sandbox::writeFile(fs::path("/home/tester") / name, name);
        open();
    }

    void savesWhatANewJobBeginsWith()
    {
        const QDateTime now = QDateTime::currentDateTime();
        QCOMPARE(find<QLineEdit>("editJobName")->text(), "job1");
        QCOMPARE(find<QComboBox>("cmbWeekDay")->currentIndex(), now.date().dayOfWeek() % 7);
        QCOMPARE(enabled(), "MDHM-");
        find<QLineEdit>("editJobName")->setText("  night: 50% \u00FC;  ");
        find<QSpinBox>("spinDate")->findChild<QLineEdit*>()->setText("0"); // typed, and not left
        QCOMPARE(said("btnSave"), saved);
        QVERIFY(!dialog->isVisible());
        const std::string name = "night: 50% \u00FC;";
        const auto option = [](int id, int value) {
            return "vSchedule::SetOption " + std::to_string(id) + '=' + std::to_string(value);
        };
        QCOMPARE(scriptedEngine().journal(),
                 std::vector<std::string>(
                     {"vSchedule " + name + ' ' + store, option(1, SCANACT_QUARANTINE),
                      option(7, SCANFLAG_DISINFECT), option(8, FREQ_ONCE), option(9, now.date().month()),
                      option(10, 1), option(12, value("spinHour")), option(13, value("spinMin")),
                      "vSchedule::ClearObjectList", "vSchedule::AddObject /",
                      option(11, now.date().dayOfWeek() % 7), "vSchedule::GetScheduleName", saveCall + "0",
                      "vSchedule::~vSchedule"}));
        QCOMPARE(sandbox::recordedCalls(), std::vector<std::string>({"cron restart"}));
    }

    void frequenciesTellWhatCounts()
    {
        const std::pair<const char*, QString> frequencies[] = {
            {"rdoHourly", "---M-"},  {"rdoDaily", "--HM-"}, {"rdoWeekly", "--HMW"},
            {"rdoMonthly", "-DHM-"}, {"rdoOnce", "MDHM-"},
        };
        for (const auto& [radio, controls] : frequencies) {
            press(radio);
            QCOMPARE(enabled(), controls);
        }
    }

    void februaryGoesByTheYearSince1900()
    {
        const std::pair<int, int> februaries[] = {{2024, 29}, {2025, 28}, {2000, 28}, {1900, 29}, {2300, 29}};
        for (const auto& [year, days] : februaries)
            QCOMPARE(VScheduleDialog::getMaxDate(2, year - 1900), days);
        QString others;
        for (const int month : {0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13})
            others += QString::number(dialog->getMaxDate(month)) + ' ';
        QCOMPARE(others, "0 31 31 30 31 30 31 31 30 31 30 31 0 ");
    }

    void loadsAndKeepsAJob()
    {
        scripted::Schedule job{SCANACT_RENAME,
                               SCANFLAG_NO_DISINFECT | SCANFLAG_NO_MAILS | SCANFLAG_CROSS_FS,
                               FREQ_MONTHLY,
                               5,
                               31,
                               3,
                               23,
                               59,
                               {"/home/tester/caf\xE9", "/srv/<b>x"}};
        scriptedEngine().schedules["old"] = job;
        open("old");
        QVERIFY(find<QLineEdit>("editJobName")->isReadOnly());
        QCOMPARE(find<QComboBox>("cmbScanAction")->currentText(), "Rename");
        QVERIFY(isOn("rdoMonthly") && isOn("rdoCheckBrowse") && isOn("chkCrossFS") && !isOn("chkMail"));
        QCOMPARE(objects(), "caf\uFFFD <b>x");
        QVERIFY(find<QListWidget>("lstObjList")->item(1)->toolTip().contains("&lt;b&gt;x"));
        press("btnCancel"); // Nothing has changed, and so nothing is asked.
        QVERIFY(!dialog->isVisible());

        open("old");
        find<QComboBox>("cmbWeekDay")->setCurrentIndex(4);
        QCOMPARE(said("btnClose", {VMessageBox::BTN_YES, VMessageBox::BTN_OK}),
                 QString(question) + " | " + saved);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(scriptedEngine().journal().at(12), saveCall + "1");
        const scripted::Schedule& now = scriptedEngine().schedules["old"];
        QCOMPARE(now.objects, job.objects);
        QCOMPARE(now.scanFlags, job.scanFlags);
        QCOMPARE(now.action, job.action);
        QCOMPARE(
            std::vector<int>({now.frequency, now.month, now.monthDay, now.weekDay, now.hour, now.minute}),
            std::vector<int>({FREQ_MONTHLY, 5, 31, 4, 23, 59}));
    }

    void theWholeComputerIsNoList()
    {
        scriptedEngine().schedules["all"] = {.objects = {"/"}};
        open("all");
        QVERIFY(isOn("rdoCheckAll") && !find<QListWidget>("lstObjList")->isEnabled());
        QCOMPARE(objects(), "");
    }

    void brokenJobOpensHalfFilled()
    {
        const struct
        {
            unsigned char scripted::Schedule::*field;
            const char* control;
            const char* property;
            int least, values, bad;
        } parts[] = {
            {&scripted::Schedule::month, "spinMonth", "value", 1, 12, 13},
            {&scripted::Schedule::monthDay, "spinDate", "value", 1, 28, 32},
            {&scripted::Schedule::weekDay, "cmbWeekDay", "currentIndex", 0, 7, 7},
            {&scripted::Schedule::hour, "spinHour", "value", 0, 24, 24},
            {&scripted::Schedule::minute, "spinMin", "value", 0, 60, 60},
        };
        const auto shown = [&] {
            std::vector<int> values;
            for (const auto& part : parts)
                values.push_back(find<QWidget>(part.control)->property(part.property).toInt());
            return values;
        };
        for (std::size_t broken = 0; broken < std::size(parts); ++broken) {
            open();
            std::vector<int> expected = shown();
            scripted::Schedule job{.objects = {"/srv"}};
            for (std::size_t i = 0; i < std::size(parts); ++i) {
                const auto& part = parts[i];
                // Another value than a new job begins with; the last two come together.
                const int other = (expected[i] - part.least + 1) % part.values + part.least;
                job.*part.field = static_cast<unsigned char>(i == broken ? part.bad : other);
                if (i < std::min<std::size_t>(broken, 3))
                    expected[i] = other;
            }
            scriptedEngine().schedules["odd"] = job;
            open("odd");
            QCOMPARE(shown(), expected);
            QCOMPARE(objects(), "");
            QCOMPARE(said("btnSave"), exists); // It counts as a new one.
        }
        QCOMPARE(said("btnCancel", {VMessageBox::BTN_NO}), question);
    }

    void failedSaveKeepsTheWindow_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("text");
        QTest::newRow("save") << -1 << "Error saving schedule";
        QTest::newRow("exists") << -2 << exists;
        QTest::newRow("objects") << -3 << "Invalid objects to scan";
        QTest::newRow("time") << -4 << "Invalid schedule time or date";
        QTest::newRow("cron") << -5 << "Error adding cron entry. Delete";
        QTest::newRow("below") << -6 << saved;
    }

    void failedSaveKeepsTheWindow()
    {
        QFETCH(int, result);
        scriptedEngine().setResult("vSchedule::SaveSchedule", result);
        QTEST(said("btnSave"), "text");
        QVERIFY(dialog->isVisible());
        QVERIFY(sandbox::recordedCalls().empty());
        // The next attempt begins anew, as the name may change.
        scriptedEngine().reset();
        find<QLineEdit>("editJobName")->setText("other");
        QCOMPARE(said("btnSave"), saved);
        QCOMPARE(scriptedEngine().journal().front(), "vSchedule other " + store);
    }

    void nameAndObjectsMustBeThere()
    {
        find<QLineEdit>("editJobName")->setText("  ");
        QCOMPARE(said("btnSave"), "Name must be specified!");
        find<QLineEdit>("editJobName")->setText("one");
        press("rdoCheckBrowse");
        QCOMPARE(said("btnSave"), objectsMissing);
        QVERIFY(dialog->isVisible() && scriptedEngine().schedules.empty());
        press("rdoCheckAll");
        find<QLineEdit>("editJobName")->setText("two");
        ModalBoxes boxes;
        boxes.answer(VMessageBox::BTN_OK);
        QTest::keyClick(find<QLineEdit>("editJobName"), Qt::Key_Return);
        QCOMPARE(boxes.texts(), QStringList(saved));
        QVERIFY(scriptedEngine().schedules.contains("two"));
    }

    void browsingFillsTheList()
    {
        QVERIFY(!find<QWidget>("btnBrowse")->isEnabled());
        press("rdoCheckBrowse");
        browse({"a"});
        browse({"a"}); // Every item equals it.
        QCOMPARE(objects(), "a");
        browse({"b"});
        browse({"a"}); // It stands there beside another.
        QCOMPARE(objects(), "a b a");
        auto* list = find<QListWidget>("lstObjList");
        for (int left = 2; left >= 0; --left) {
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                              list->visualItemRect(list->item(0)).center());
            press("btnRemove");
            QCOMPARE(list->count(), left);
        }
        QVERIFY(!find<QWidget>("btnRemove")->isEnabled());
        browse({"caf\uFFFD"});
        QCOMPARE(said("btnSave"), saved);
        QCOMPARE(scriptedEngine().schedules["job1"].objects,
                 std::vector<std::string>({"/home/tester/caf\xE9"})); // which the tree gave no name
    }

    void closingAsksAboutChanges()
    {
        find<QLineEdit>("editJobName")->setText("changed");
        scriptedEngine().setResult("vSchedule::SaveSchedule", SCHEDERR_TIME);
        ModalBoxes boxes;
        boxes.answer(VMessageBox::BTN_YES);
        boxes.answer(VMessageBox::BTN_OK);
        QTest::keyClick(dialog.get(), Qt::Key_Escape);
        QVERIFY(dialog->isVisible());
        scriptedEngine().clearJournal();
        boxes.answer(VMessageBox::BTN_NO);
        press("btnCancel");
        QVERIFY(!dialog->isVisible());
        QVERIFY(scriptedEngine().journal().empty() && scriptedEngine().schedules.empty());
    }

    void eitherScriptRestartsCron()
    {
        constexpr char failed[] = "Error reloading cron. Please reload cron manually";
        fs::rename(cronScript, "/etc/init.d/crond");
        dialog->reloadCron();
        sandbox::writeFile(cronScript, "");
        dialog->reloadCron();
        QCOMPARE(sandbox::recordedCalls(), std::vector<std::string>({"crond restart", "crond restart"}));
        // How the script ends is its own affair.
        sandbox::writeFile("/etc/init.d/crond", "#!/bin/sh\nexit 1\n");
        dialog->reloadCron();
        fs::remove("/etc/init.d/crond");
        QCOMPARE(said("btnSave", {VMessageBox::BTN_OK, VMessageBox::BTN_OK}),
                 QString(saved) + " | " + failed);
        QVERIFY(!dialog->isVisible());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScheduleDialog, 0, 0)
#include "tst_scheduledialog.moc"
