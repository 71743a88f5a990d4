#include "base/uniquefd.h"
#include "quarantine/quarantined.h"
#include "quarantine/restorenotes.h"
#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path directory = "/var/Quillstone/var/quarantine/vardo";
const fs::path records = "/opt/Quillstone/etc/vardo/.quarantined";
const fs::path newRecords = "/opt/Quillstone/etc/vardo/.quarantined_tmp";
const fs::path opener = "/opt/Quillstone/etc/vardo/.rnWM.sh";

std::string record(const std::string& name, const std::string& date = "2026 11 21 10:00:00")
{
    return name + "~#^|~" + date + "~#^|~68~#^|~Some.Virus-1~#^|~\n";
}

bool inQuarantine(const std::string& name)
{
    return fs::exists(fs::symlink_status(directory / name));
}

void putAway(std::initializer_list<const char*> names)
{
    for (const char* name : names)
        sandbox::writeFile(directory / name, "x");
}

} // namespace

/// The list of quarantined files. Run as root and as an ordinary user.
class TestQuarantinePage : public MainWindowTest
{
    Q_OBJECT

    const bool isRoot = getuid() == 0;
    QTreeWidget* list = nullptr;

    /// Shows the page with this content of the record file.
    void show(const std::string& content)
    {
        sandbox::writeFile(records, content);
        click(page() == VMainWidget::QuarantinePage ? "btnQuarRefresh" : "lnkQuarantine");
        QCOMPARE(page(), int(VMainWidget::QuarantinePage));
    }

    QStringList names() const
    {
        QStringList result;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            result << list->topLevelItem(i)->text(0);
        return result;
    }

    void select(std::initializer_list<const char*> wanted)
    {
        for (const char* name : wanted) {
            const auto found = list->findItems(QString(name), Qt::MatchExactly);
            QCOMPARE(found.size(), 1);
            found.front()->setSelected(true);
        }
    }

    void answer(const char* button, int code)
    {
        boxes->answer(code);
        click(button);
    }

    bool enabled(const char* button) const { return find<QWidget>(button)->isEnabled(); }
    QString count() const { return find<QLabel>("lblQuarCountValue")->text(); }

  private slots:
    void init()
    {
        sandbox::makeInstallation();
        scriptedEngine().reset();
        openWindow();
        list = find<QTreeWidget>("lstQuarantine");
    }

    void cleanup()
    {
        fs::permissions(directory, fs::perms(0755));
        closeWindow();
    }

    void newestFileIsFirst()
    {
        putAway({"a", "b", "c"});
        show(record("a", "2025 12 31 23:59:59") + record("b", "2026 11 21 10:00:00") +
             record("c", "2026 02"));
        QCOMPARE(names(), QStringList({"b", "c", "a"}));
        QCOMPARE(count(), "3");
        QCOMPARE(list->topLevelItem(0)->text(1), "2026 11 21 10:00:00");
        QCOMPARE(list->topLevelItem(0)->text(2), "68");
        QCOMPARE(list->topLevelItem(0)->text(3), "Some.Virus-1");
        QVERIFY(enabled("btnDeleteAllQuar"));
        QVERIFY(!enabled("btnDeleteQuar"));
        select({"a"});
        QVERIFY(enabled("btnDeleteQuar"));
        list->clearSelection();
        QVERIFY(enabled("btnDeleteQuar"));
        sandbox::writeFile(records, record("b"));
        click("btnDeleteQuar"); // asks nothing and shows what there is now
        QCOMPARE(names(), QStringList("b"));
        QVERIFY(!enabled("btnDeleteQuar"));
    }

    void recordsOfMissingFilesAreDropped()
    {
        putAway({"here", "has#sign", "short"});
        show(record("gone") + record("here") + record("has#sign") + record("") + "short");
        QCOMPARE(names(), QStringList({"here", "short"}));
        QCOMPARE(list->topLevelItem(1)->text(3), "");
        QCOMPARE(count(), "2");
        QCOMPARE(sandbox::readFile(records),
                 record("here") + "short~#^|~(null)~#^|~(null)~#^|~(null)~#^|~\n");
        QVERIFY(!fs::exists(newRecords));
        QCOMPARE(commands(), QStringList({"runasroot /bin/chmod 666 " + QString(newRecords.c_str()),
                                          "runasroot /bin/chmod 666 " + QString(records.c_str())}));
        QVERIFY(inQuarantine("has#sign"));

        show("");
        QVERIFY(names().isEmpty());
        QCOMPARE(count(), "0");
        QVERIFY(!enabled("btnDeleteAllQuar"));
        QVERIFY(fs::exists(records));

        show(record("here"));
        fs::remove(records);
        click("btnQuarRefresh");
        QVERIFY(names().isEmpty());
        QCOMPARE(count(), "1");
        QVERIFY(enabled("btnDeleteAllQuar"));
        QVERIFY(!fs::exists(records) && !fs::exists(newRecords));
    }

    void namesAreNoPaths()
    {
        putAway({"here"});
        const char* const victim = "/opt/Quillstone/etc/vardo/vardo.conf";
        show(record("../../../../../opt/Quillstone/etc/vardo/vardo.conf") + record(victim) + record("..") +
             record(".") + record("here"));
        QCOMPARE(names(), QStringList("here"));
        answer("btnDeleteAllQuar", VMessageBox::BTN_YES);
        QVERIFY(!inQuarantine("here"));
        QVERIFY(fs::exists(victim));
    }

    void namesAreShownSafelyAndUsedAsTheyAre()
    {
        // Two that look alike, one that ends in a space, and what would change the line it is shown in.
        putAway({"caf\xe9", "caf\xe8", "space ", "tag<b>\x1b[31m\u202Egpj"});
        show(record("caf\xe9") + record("caf\xe8", "2026 11 21 09:00:00") + record("space ", "2025") +
             record("tag<b>\x1b[31m\u202Egpj", "2024"));
        QCOMPARE(names(), QStringList({"caf\uFFFD", "caf\uFFFD", "space ", "tag<b>\u241B[31m\uFFFDgpj"}));
        for (const int row : {1, 2, 3})
            list->topLevelItem(row)->setSelected(true);
        answer("btnDeleteQuar", VMessageBox::BTN_YES);
        QCOMPARE(std::distance(fs::directory_iterator(directory), {}), 1);
        QVERIFY(inQuarantine("caf\xe9"));
    }

    void selectedFilesAreDeletedAfterOneQuestion()
    {
        putAway({"a", "b", "c"});
        show(record("a") + record("b") + record("c"));
        select({"a", "c"});
        answer("btnDeleteQuar", VMessageBox::BTN_NO);
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QCOMPARE(list->selectedItems().size(), 2);
        QTimer timer; // goes on between two files, as the painting does
        bool livedMeanwhile = false;
        timer.callOnTimeout([&] { livedMeanwhile |= inQuarantine("a") != inQuarantine("c"); });
        timer.start(0);
        answer("btnDeleteQuar", VMessageBox::BTN_YES);
        QVERIFY(livedMeanwhile);
        QCOMPARE(boxes->texts(), QStringList(2, "Do you want to Delete the Selected Quarantine File?"));
        QCOMPARE(names(), QStringList("b"));
        QCOMPARE(sandbox::readFile(records), record("b"));
        QVERIFY(!inQuarantine("a") && inQuarantine("b") && !inQuarantine("c"));
    }

    void recordsAreRemovedByTheirText()
    {
        putAway({"name", "first-name"});
        show(record("first-name") + record("name"));
        select({"name"});
        answer("btnDeleteQuar", VMessageBox::BTN_YES);
        QVERIFY(names().isEmpty()); // the other record ends alike
        QVERIFY(inQuarantine("first-name") && !inQuarantine("name"));

        // The name of the second file stands at the end of the long line, in its last piece.
        const std::string longVirus = std::string(1500, 'v') + "other";
        const std::string longLine = "first~#^|~2026~#^|~1~#^|~" + longVirus + "~#^|~\n";
        putAway({"first", "other"});
        show(longLine + record("other"));
        QCOMPARE(names().size(), 2);
        select({"other"});
        answer("btnDeleteQuar", VMessageBox::BTN_YES);
        // The first piece of 1023 bytes is left and has no end.
        QCOMPARE(names(), QStringList("first"));
        QCOMPARE(sandbox::readFile(records), longLine.substr(0, 1023) + "~#^|~\n");
    }

    void deleteAllEmptiesTheRecords()
    {
        putAway({"a"});
        const base::UniqueFd quarantined(::open(directory.c_str(), O_RDONLY | O_DIRECTORY));
        const auto notes = quarantine::RestoreNotes::open(quarantined.get(), true);
        for (const char* name : {"a", "stays"}) {
            quarantine::RestoreNote note;
            note.name = name;
            notes.value().add(note).value().keep();
        }
        fs::create_directory(directory / "stays");
        sandbox::writeFile(directory / "stays/file", "x");
        show(record("a") + record("stays"));
        answer("btnDeleteAllQuar", VMessageBox::BTN_NO);
        QCOMPARE(names().size(), 2);
        answer("btnDeleteAllQuar", VMessageBox::BTN_YES);
        QCOMPARE(boxes->texts(), QStringList(2, "Do you want to delete all the quarantine Files?"));
        QVERIFY(!inQuarantine("a") && inQuarantine("stays"));
        QVERIFY(notes.value().of("a").empty() && !notes.value().of("stays").empty());
        QCOMPARE(sandbox::readFile(records), "");
        QVERIFY(names().isEmpty());
        QCOMPARE(count(), "0");
        QVERIFY(!enabled("btnDeleteAllQuar"));
    }

    /// By the real program. Users have their own files back, and are told of the others.
    void filesComeBack()
    {
        const fs::path origin = "/home/tester/came from\xe9 here";
        putAway({"caf\xe9", "unknown"});
        const base::UniqueFd quarantined(open(directory.c_str(), O_RDONLY | O_DIRECTORY));
        quarantine::RestoreNote note;
        note.name = "caf\xe9";
        note.origin = origin;
        note.owner = getuid();
        note.group = getgid();
        note.mode = 0600;
        const base::UniqueFd file(open((directory / note.name).c_str(), O_RDONLY));
        note.content = quarantine::digestFile(file.get()).value();
        quarantine::RestoreNotes::open(quarantined.get(), true).value().add(note).value().keep();
        show(record(note.name) + record("unknown", "2025"));

        list->topLevelItem(0)->setSelected(true);
        QContextMenuEvent request(QContextMenuEvent::Keyboard, {5, 5}, list->mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(list->viewport(), &request);
        const auto actions = window->findChild<QMenu*>()->actions();
        QCOMPARE(actions.size(), 3);
        actions[1]->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), "caf\uFFFD");
        boxes->answer(VMessageBox::BTN_OK);
        actions[2]->trigger();
        list->topLevelItem(1)->setSelected(true);
        boxes->answer(VMessageBox::BTN_OK);
        QVERIFY(actions[0]->isEnabled());
        actions[0]->trigger();
        QTRY_COMPARE(boxes->seen().size(), std::size_t(2));
        QCOMPARE(boxes->texts()[0], "caf\uFFFD: /home/tester/came from\uFFFD here");
        QVERIFY2(boxes->texts()[1].contains("restored to /home/tester/came from"),
                 qPrintable(boxes->texts()[1]));
        QVERIFY(boxes->texts()[1].contains("vardoquarantine: unknown: "));
        QCOMPARE(sandbox::readFile(origin), "x");
        QTRY_COMPARE(names(), QStringList("unknown"));
    }

    void usersAreToldWhatTheyMayNot()
    {
        if (isRoot)
            QSKIP("nothing is forbidden to root; the run as user 1000 has this case");
        putAway({"a", "readonly"});
        show(record("a") + record("readonly"));
        select({"a", "readonly"});
        fs::permissions(directory, fs::perms(0555));
        answer("btnDeleteQuar", VMessageBox::BTN_OK);
        answer("btnDeleteAllQuar", VMessageBox::BTN_OK);
        QCOMPARE(boxes->texts(), QStringList({"Not enough permission to delete quarantine files",
                                              "Not enough permission to delete virus files"}));
        fs::permissions(directory, fs::perms(0755));

        // A file that the user may not write stays, with its record.
        fs::permissions(directory / "readonly", fs::perms(0444));
        answer("btnDeleteAllQuar", VMessageBox::BTN_YES);
        QCOMPARE(names(), QStringList("readonly"));
        QCOMPARE(sandbox::readFile(records), record("readonly"));
        QVERIFY(!inQuarantine("a"));
    }

    void recordFileThatCannotBeOpenedEndsTheDeleting()
    {
        putAway({"a", "b"});
        show(record("a") + record("b"));
        const fs::path settings = "/opt/Quillstone/etc/vardo";
        fs::rename(settings, "/opt/Quillstone/etc/gone");
        list->selectAll();
        answer("btnDeleteQuar", VMessageBox::BTN_YES); // the record goes first
        QVERIFY(inQuarantine("a") && inQuarantine("b"));
        QCOMPARE(names().size(), 2);
        answer("btnDeleteAllQuar",
               VMessageBox::BTN_YES); // the file goes first, and for root all records at the end
        QCOMPARE(inQuarantine("a") || inQuarantine("b"), !isRoot);
        fs::rename("/opt/Quillstone/etc/gone", settings);
        click("btnQuarRefresh");
        QCOMPARE(names().size(), isRoot ? 0 : 1);
        if (isRoot)
            return;

        fs::permissions(records, fs::perms(0444)); // enough to list
        click("btnQuarRefresh");
        QCOMPARE(names().size(), 1);
        fs::permissions(records, fs::perms(0444));
        list->selectAll();
        answer("btnDeleteQuar", VMessageBox::BTN_YES);
        QVERIFY(inQuarantine("a") || inQuarantine("b"));
    }

    void recordsOfAScanMeanwhileAreKept()
    {
        constexpr int total = 1000;
        show("");
        const pid_t scan = fork();
        if (scan == 0) {
            bool recorded = true;
            for (int i = 0; i < total; ++i) {
                const std::string name = "file" + std::to_string(i);
                sandbox::writeFile(directory / name, "x");
                recorded = quarantine::recordQuarantined(("/home/" + name).c_str(), "v") && recorded;
                usleep(200); // so that the page gets many a turn meanwhile
            }
            _exit(recorded ? 0 : 1);
        }
        std::size_t deleted = 0;
        int result = -1;
        while (waitpid(scan, &result, WNOHANG) == 0) {
            click("btnQuarRefresh");
            if (list->topLevelItemCount() > 1) {
                for (const int row : {0, 1})
                    list->topLevelItem(row)->setSelected(true);
                answer("btnDeleteQuar", VMessageBox::BTN_YES);
                deleted += 2;
            }
        }
        QCOMPARE(result, 0);
        click("btnQuarRefresh");
        const auto files = std::distance(fs::directory_iterator(directory), {});
        QCOMPARE(static_cast<std::size_t>(files), total - deleted);
        QCOMPARE(count(), QString::number(total - deleted));
    }

    void locationIsOpenedByTrustedScriptsOnly()
    {
        show("");
        const auto runs = [this](int mode) {
            fs::remove("/tmp/opened");
            fs::permissions(opener, fs::perms(mode));
            click("lnkQuarPath");
            return QString::fromStdString(sandbox::readFile("/tmp/opened"));
        };
        click("lnkQuarPath"); // without the script nothing happens
        sandbox::writeFile(opener, "#!/bin/sh\necho \"opened by $# $1\" >/tmp/opened\n");
        QCOMPARE(runs(0755), isRoot ? "opened by 1 root\n" : "opened by 0 \n");
        QCOMPARE(runs(0775), "");
        QCOMPARE(runs(0757), "");
        QCOMPARE(runs(0644), "");
        QCOMPARE(textOf("lnkQuarPath"), "/var/Quillstone/var/quarantine/vardo/");
    }
};

VARDO_SANDBOX_TEST_MAIN(TestQuarantinePage, 0, 0)
#include "tst_quarantinepage.moc"
