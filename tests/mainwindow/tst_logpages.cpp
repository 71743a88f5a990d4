#include "kit/vtextpane.h"
#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QTest>
#include <QTreeWidget>

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path location = "/var/Quillstone/var/log";
const fs::path folder = location / "vardo";
const fs::path updateLog = location / "updates.log";

const QString askSelected = "Do you want to Delete the Selected Log File?";
const QString askAll = "Do you want to delete all the Log Files?";
const QString notPermitted = "Not enough permission to delete logs";

/// Makes a file of this size whose time is `day` November 2026, ten o'clock.
void makeLog(const fs::path& path, std::uintmax_t size = 1, int day = 21)
{
    fs::create_directories(path.parent_path());
    sandbox::writeFile(path, "first line\n");
    fs::resize_file(path, size);
    tm time{0, 0, 10, day, 10, 126, 0, 0, 0, 0, nullptr};
    const timespec stamp{mktime(&time), 0};
    const timespec stamps[] = {stamp, stamp};
    utimensat(AT_FDCWD, path.c_str(), stamps, 0);
}

} // namespace

/// The pages that list logs, as an ordinary user sees them.
class TestLogPages : public MainWindowTest
{
    Q_OBJECT

    QTreeWidget* list = nullptr;

    void showScanLogs() { show("btnScan", "lnkViewScanLog", "lstScanLogs"); }
    void showUpdateLog() { show("btnUpdate", "lnkViewUpdateLog", "lstUpdateLogs"); }

    void show(const char* menu, const char* link, const char* name)
    {
        if (!isOn(menu))
            click(menu);
        click(link);
        QVERIFY(!isOn(menu));
        list = find<QTreeWidget>(name);
        QVERIFY(list->isVisible());
    }

    /// One column of the list from top to bottom.
    QStringList column(int number) const
    {
        QStringList texts;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            texts << list->topLevelItem(i)->text(number);
        return texts;
    }

    /// Which of view, delete and delete all can be clicked on the page that is up.
    QString enabledButtons() const
    {
        QString result;
        const char* const kind = page() == VMainWidget::ScanLogPage ? "ScanLog" : "UpdateLog";
        for (const QString pattern : {"btnView%1", "btnDelete%1", "btnDelete%1s"})
            result += find<QWidget>(pattern.arg(kind).toLatin1())->isEnabled() ? 'x' : '-';
        return result;
    }

    /// Closes the viewer that comes up next; `shown` becomes its text.
    void expectViewer()
    {
        shown = "no viewer";
        boxes->handle([this](QWidget* dialog) {
            shown = dialog->findChild<VTextPane*>("textLog")->text();
            centre = dialog->geometry().center() - window->geometry().center();
            dialog->close();
        });
    }

    QByteArray shown;
    QPoint centre;

  private slots:
    void init()
    {
        openFresh();
        fs::remove_all(location);
        fs::create_directories(folder);
    }

    void cleanup()
    {
        fs::permissions(folder, fs::perms(0755));
        closeWindow();
    }

    void newestLogIsFirst()
    {
        makeLog(folder / "bytes.log", 1023, 2);
        makeLog(folder / "kib.log", 1024, 1);
        makeLog(folder / "half.more.log", 1536, 3);
        makeLog(folder / "million.log", 1'000'000ULL * 1024, 5);
        makeLog(folder / "odd.log", 1'234'567ULL * 1024 + 1023, 4);
        makeLog(folder / "caf\xe9\n.log", 0, 6);
        for (const char* other : {"capitals.LOG", "scan.log.old", "xlog"})
            makeLog(folder / other);
        fs::create_directory(folder / "directory.log");
        fs::create_symlink("kib.log", folder / "link.log");
        mkfifo((folder / "pipe.log").c_str(), 0600);
        showScanLogs();
        QCOMPARE(title(), "Scan log");
        QCOMPARE(column(0), QStringList({"caf\uFFFD\u240A.log", "million.log", "odd.log", "half.more.log",
                                         "bytes.log", "kib.log", "link.log"}));
        QCOMPARE(column(1).front(), "2026 11 06 10:00:00");
        QCOMPARE(column(2), QStringList({"0", "1e+06K", "1.23457e+06K", "1K", "1023", "1K", "1K"}));
    }

    void buttonsFollowListingAndSelection()
    {
        showScanLogs();
        QCOMPARE(enabledButtons(), "---");
        makeLog(folder / "a.log");
        showScanLogs();
        QCOMPARE(enabledButtons(), "--x");
        list->topLevelItem(0)->setSelected(true);
        list->clearSelection();
        QCOMPARE(enabledButtons(), "xxx");
        // With nothing selected nothing is asked, and the list is read again, wherever it may be by now.
        makeLog("/tmp/elsewhere/vardo/b.log");
        scriptedEngine().held.logLocation = "/tmp/elsewhere";
        click("btnDeleteScanLog");
        QCOMPARE(column(0), QStringList("b.log"));
        QCOMPARE(enabledButtons(), "--x");
        // Where nothing can be listed the buttons stay as they are.
        scriptedEngine().setResult("GetOption 3", -1);
        click("btnDeleteScanLogs");
        QVERIFY(fs::exists("/tmp/elsewhere/vardo/b.log"));
        showScanLogs();
        QVERIFY(column(0).isEmpty());
        QCOMPARE(enabledButtons(), "--x");
    }

    void logsAreDeletedAfterOneQuestion()
    {
        int day = 1;
        for (const char* name : {"caf\xe8.log", "a.log", "caf\xe9.log", "b.log"})
            makeLog(folder / name, 1, day++);
        makeLog(folder / "kept.txt");
        showScanLogs();
        list->findItems("a.log", Qt::MatchExactly).front()->setSelected(true);
        list->findItems("caf\uFFFD.log", Qt::MatchExactly).back()->setSelected(true);
        boxes->answer(VMessageBox::BTN_NO);
        click("btnDeleteScanLog");
        QCOMPARE(list->selectedItems().size(), 2);
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteScanLog");
        QVERIFY(!fs::exists(folder / "a.log") && fs::exists(folder / "b.log"));
        QVERIFY(!fs::exists(folder / "caf\xe8.log") && fs::exists(folder / "caf\xe9.log"));

        makeLog(folder / "new.log");
        boxes->answer(0);
        click("btnDeleteScanLogs");
        QVERIFY(fs::exists(folder / "b.log"));
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteScanLogs");
        QCOMPARE(column(0), QStringList("new.log"));
        QVERIFY(fs::exists(folder / "kept.txt"));
        QCOMPARE(boxes->texts(), QStringList({askSelected, askSelected, askAll, askAll}));
    }

    void linksAreReadAndNotFollowedToDelete()
    {
        const fs::path elsewhere = "/tmp/elsewhere";
        makeLog(elsewhere / "a.log");
        makeLog(folder / "a.log");
        showScanLogs();
        list->setCurrentItem(list->topLevelItem(0));
        fs::remove(folder / "a.log");
        fs::create_symlink(elsewhere / "a.log", folder / "a.log");
        expectViewer();
        click("btnViewScanLog");
        QVERIFY(!shown.isEmpty());
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteScanLogs");
        QVERIFY(column(0).isEmpty() && fs::exists(elsewhere / "a.log"));
        // One's own link to a folder is as good as the folder.
        fs::remove(folder);
        fs::create_symlink(elsewhere, folder);
        showScanLogs();
        QCOMPARE(column(0), QStringList("a.log"));
        fs::remove(folder);
        fs::create_directory(folder);
    }

    void usersAreToldWhatTheyMayNot()
    {
        makeLog(folder / "a.log");
        makeLog(updateLog);
        showScanLogs();
        list->topLevelItem(0)->setSelected(true);
        fs::permissions(folder, fs::perms(0555));
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteScanLog");
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteScanLogs");
        showUpdateLog();
        fs::permissions(updateLog, fs::perms(0444));
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteUpdateLogs");
        QCOMPARE(boxes->texts(), QStringList(3, notPermitted));
        QVERIFY(fs::exists(folder / "a.log") && fs::exists(updateLog));
    }

    void viewerShowsTheCurrentRow()
    {
        makeLog(folder / "a.log", 5, 1);
        makeLog(folder / "caf\xe9.log", 10, 2);
        showScanLogs();
        const QPoint place = list->visualItemRect(list->topLevelItem(1)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place);
        expectViewer();
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(shown, "first");
        QCOMPARE(centre, QPoint(0, 0));
        // Selected or not.
        list->setCurrentItem(list->topLevelItem(0), 0, QItemSelectionModel::NoUpdate);
        QVERIFY(!list->currentItem()->isSelected());
        expectViewer();
        click("btnViewScanLog");
        QCOMPARE(shown, "first line");
    }

    void updateLogIsOneRow()
    {
        showUpdateLog();
        QCOMPARE(enabledButtons(), "---");
        makeLog(updateLog, 2048);
        showUpdateLog();
        QCOMPARE(title(), "Update log");
        QCOMPARE(column(0) + column(1) + column(2),
                 QStringList({"updates.log", "2026 11 21 10:00:00", "2K"}));
        QCOMPARE(enabledButtons(), "--x");

        // The selection does not count, and both questions lead to the same.
        for (const char* button : {"btnDeleteUpdateLog", "btnDeleteUpdateLogs"}) {
            makeLog(updateLog);
            showUpdateLog();
            list->topLevelItem(0)->setSelected(true);
            list->clearSelection();
            for (const int answer : {VMessageBox::BTN_NO, VMessageBox::BTN_YES}) {
                boxes->answer(answer);
                click(button);
                QCOMPARE(fs::exists(updateLog), answer == VMessageBox::BTN_NO);
            }
            QCOMPARE(enabledButtons(), "---");
        }
        makeLog(updateLog);
        showUpdateLog();
        fs::remove(updateLog);
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteUpdateLogs");
        QCOMPARE(boxes->texts(), QStringList({askSelected, askSelected, askAll, askAll, notPermitted}));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestLogPages, 1000, 1000)
#include "tst_logpages.moc"
