#include "base/paths.h"
#include "tests/mainwindow/mainwindowtest.h"

#include <QDialog>
#include <QLineEdit>
#include <QTest>
#include <QTreeWidget>

#include <filesystem>

using scripted::Schedule;

/// The page that lists the scheduled scans, on a store that the scripted engine reads.
class TestSchedulerPage : public MainWindowTest
{
    Q_OBJECT

    std::map<std::string, Schedule>& jobs = scriptedEngine().schedules;
    QTreeWidget* list = nullptr;

    /// Shows the page on these jobs; the window finds their names in the file.
    void show(std::map<std::string, Schedule> stored)
    {
        jobs = std::move(stored);
        std::string text;
        for (const auto& [name, job] : jobs)
            text += '[' + name + "]\nFrequency = 0\nHour = 1\nMinute = 2\nObject1 = /\n";
        sandbox::writeFile(paths::scheduleStore, text);
        click("btnScheduler");
        list = find<QTreeWidget>("lstSchedule");
        QVERIFY(list->isVisible());
    }

    QStringList row(int index) const
    {
        QStringList texts;
        for (int column = 0; column < list->columnCount(); ++column)
            texts << list->topLevelItem(index)->text(column);
        return texts;
    }

    QPoint placeOf(int index) const
    {
        return {10, list->visualItemRect(list->topLevelItem(index)).center().y()};
    }
    void select(int index) { QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, placeOf(index)); }

    /// Which of add, edit, delete and purge can be clicked.
    QString enabled() const
    {
        QString initials;
        for (const char* name : {"btnAddJob", "btnEditSchedule", "btnDeleteSchedule", "btnPurgeSchedule"})
            initials += find<QAbstractButton>(name)->isEnabled() ? name[3] : '-';
        return initials;
    }

    /// Closes the editor that comes up next, which is to show this name.
    void expectEditor(const QString& name)
    {
        boxes->handle([this, name](QWidget* editor) {
            QCOMPARE(editor->objectName(), "VScheduleDialog");
            QCOMPARE(editor->findChild<QLineEdit*>("editJobName")->text(), name);
            QVERIFY((editor->geometry().center() - window->geometry().center()).manhattanLength() <= 2);
            qobject_cast<QDialog*>(editor)->reject();
        });
    }

  private slots:
    void init() { openFresh(); }
    void cleanup() { closeWindow(); }

    void jobsAreListed()
    {
        Schedule once{SCANACT_LOG, 0, FREQ_ONCE, 3, 3, 0, 9, 5, {"/"}, false};
        Schedule job = once;
        job.weekDay = 6;
        job.monthDay = 1;
        job.objects = {"/home/a b", "/srv"};
        std::map<std::string, Schedule> stored{{"a", once}, {"b", once}, {"no objects", {}}};
        stored["b"].outdated = true;
        for (unsigned char frequency : {FREQ_HOURLY, FREQ_DAILY, FREQ_WEEKLY, FREQ_MONTHLY}) {
            job.frequency = frequency;
            job.outdated = true; // which only single runs can be
            stored["c" + std::to_string(frequency)] = job;
        }
        job.frequency = 7;
        stored["d"] = job;
        show(stored);
        const QStringList rows[] = {
            {"a", "Once", "3/3   9:5", "/"},
            {"b*", "Once", "3/3   9:5", "/"},
            {"c1", "Hourly", "5 minutes after an hour", "/home/a b,/srv"},
            {"c2", "Daily", "9:5 everyday", "/home/a b,/srv"},
            {"c3", "Weekly", "Saturday 9:5 every week", "/home/a b,/srv"},
            {"c4", "Monthly", "On 1th 9:5 every month", "/home/a b,/srv"},
            {"d", "Unknown", "", "/home/a b,/srv"},
        };
        QCOMPARE(list->topLevelItemCount(), int(std::size(rows)));
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            QCOMPARE(row(i), rows[i]);
        QCOMPARE(enabled(), "A--P");
        select(0);
        QCOMPARE(enabled(), "AEDP");

        click("btnPurgeSchedule");
        QCOMPARE(list->topLevelItemCount(), 1); // the scripted engine takes all that are called outdated
        QCOMPARE(enabled(), "A---");
        QVERIFY(boxes->seen().empty());
    }

    void missingOrPlantedStoreIsAnEmptyList()
    {
        namespace fs = std::filesystem;
        show({{"a", Schedule{.objects = {"/"}, .outdated = false}}});
        QCOMPARE(list->topLevelItemCount(), 1);
        fs::rename(paths::scheduleStore, "/opt/Quillstone/etc/elsewhere");
        for (const bool planted : {false, true}) {
            if (planted)
                fs::create_symlink("/opt/Quillstone/etc/elsewhere", paths::scheduleStore);
            click("btnScheduler");
            QCOMPARE(list->topLevelItemCount(), 0);
            QCOMPARE(enabled(), "A---");
        }
    }

    void unreadableJobIsTriedAgainAtEachKey()
    {
        show({{"a", Schedule{.objects = {"/"}, .outdated = false}}});
        scriptedEngine().setResult("vSchedule::GetOption 13", -1);
        scriptedEngine().clearJournal();
        click("btnScheduler");
        QCOMPARE(list->topLevelItemCount(), 0);
        QCOMPARE(toList(scriptedEngine().journal()).count("vSchedule a " + QString(paths::scheduleStore)), 4);
    }

    void jobsAreEdited()
    {
        Schedule job{.objects = {"/"}, .outdated = true};
        show({{"a", job}});
        expectEditor("job1"); // the editor's own proposal
        click("btnAddJob");
        select(0);
        expectEditor("a");
        click("btnEditSchedule");
        QCOMPARE(enabled(), "A--P"); // listed anew, so nothing is selected
        select(0);
        expectEditor("a");
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, placeOf(0));
        QCOMPARE(boxes->seen().size(), 3U);
    }

    void jobsAreDeleted()
    {
        Schedule job{.objects = {"/"}, .outdated = true};
        show({{"a", job}, {"b", job}});
        select(1);
        boxes->answer(VMessageBox::BTN_NO);
        click("btnDeleteSchedule");
        boxes->answer(VMessageBox::BTN_YES);
        scriptedEngine().setResult("vSchedule::DeleteSchedule", -1);
        click("btnDeleteSchedule"); // refused in silence
        QCOMPARE(list->topLevelItemCount(), 2);
        scriptedEngine().setResult("vSchedule::DeleteSchedule", 0);
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteSchedule");
        QCOMPARE(boxes->texts(), QStringList(3, "Do you want to delete the scheduled task?"));
        QVERIFY(!jobs.contains("b"));
        QCOMPARE(row(0).front(), "a*");
        QCOMPARE(list->topLevelItemCount(), 1);
        QVERIFY(commands().isEmpty()); // cron is told of saves only
    }

    void namesOfAnyLengthReachTheEngine()
    {
        const std::string name(200, 'n');
        Schedule job{.objects = std::vector<std::string>(50, "/a/directory/of/<b>some</b>/length"),
                     .outdated = false};
        show({{name, job}, {"short", job}});
        QCOMPARE(list->topLevelItem(1)->toolTip(0), "");
        const auto* item = list->topLevelItem(0);
        QCOMPARE(item->toolTip(0).count('n'), 200);
        QCOMPARE(item->toolTip(3).count("&lt;b&gt;"), 50);
        select(0);
        expectEditor(QString::fromStdString(name));
        click("btnEditSchedule");
        select(0);
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteSchedule");
        QVERIFY(!jobs.contains(name));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestSchedulerPage, 0, 0)
#include "tst_schedulerpage.moc"
