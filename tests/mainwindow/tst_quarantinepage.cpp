#include "tests/mainwindow/mainwindowtest.h"

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTreeWidget>

#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path quarantine = "/var/Quillstone/var/quarantine/vardo";
const fs::path records = "/opt/Quillstone/etc/vardo/.quarantined";
const fs::path newRecords = "/opt/Quillstone/etc/vardo/.quarantined_tmp";
const fs::path opener = "/opt/Quillstone/etc/vardo/.rnWM.sh";

std::string record(const std::string& name, const std::string& date = "2026 11 21 10:00:00")
{
    return name + "~#^|~" + date + "~#^|~68~#^|~Some.Virus-1~#^|~\n";
}

bool inQuarantine(const std::string& name)
{
    return fs::exists(fs::symlink_status(quarantine / name));
}

void putAway(std::initializer_list<const char*> names)
{
    for (const char* name : names)
        sandbox::writeFile(quarantine / name, "x");
}

} // namespace

/// The list of quarantined files. Built for root and for an ordinary user.
class TestQuarantinePage : public MainWindowTest
{
    Q_OBJECT

    const bool isRoot = getuid() == 0;
    QTreeWidget* list = nullptr;

    /// Shows the page with this content of the record file.
    void show(const std::string& content)
    {
        sandbox::writeFile(records, content);
        click("lnkQuarantine");
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
        fs::permissions(quarantine, fs::perms(0755));
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
        click("btnQuarRefresh");
        QVERIFY(!enabled("btnDeleteQuar"));
    }

    void recordsOfMissingFilesAreDropped()
    {
        putAway({"here", "has#sign"});
        show(record("gone") + record("here") + record("has#sign") + record(""));
        QCOMPARE(names(), QStringList("here"));
        QCOMPARE(count(), "1");
        QCOMPARE(sandbox::readFile(records), record("here"));
        QVERIFY(!fs::exists(newRecords));
        QCOMPARE(commands(), QStringList({"runasroot /bin/chmod 666 " + QString(newRecords.c_str()),
                                          "runasroot /bin/chmod 666 " + QString(records.c_str())}));
        QVERIFY(inQuarantine("has#sign"));
    }

    void missingFieldsAreWrittenAsNull()
    {
        putAway({"short"});
        show("short");
        QCOMPARE(list->topLevelItem(0)->text(3), "");
        QCOMPARE(sandbox::readFile(records), "short~#^|~(null)~#^|~(null)~#^|~(null)~#^|~\n");
    }

    void emptyRecordFileGivesEmptyList()
    {
        putAway({"unknown"});
        show("");
        QVERIFY(names().isEmpty());
        QCOMPARE(count(), "0");
        QVERIFY(!enabled("btnDeleteAllQuar"));
        QVERIFY(fs::exists(records));
        QVERIFY(inQuarantine("unknown"));
    }

    void withoutRecordFileTheCountStays()
    {
        putAway({"a"});
        show(record("a"));
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
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteAllQuar");
        QVERIFY(!inQuarantine("here"));
        QVERIFY(fs::exists(victim));
    }

    void plantedLinksAreNotFollowed()
    {
        putAway({"here"});
        const fs::path victim = "/opt/Quillstone/etc/victim";
        sandbox::writeFile(victim, "precious\n");
        fs::create_symlink(victim, newRecords);
        show(record("here"));
        QCOMPARE(names(), QStringList("here"));
        QVERIFY(fs::is_regular_file(fs::symlink_status(records)));

        for (const bool symbolic : {true, false}) {
            fs::remove(records);
            sandbox::writeFile(victim, record("here"));
            symbolic ? fs::create_symlink(victim, records) : fs::create_hard_link(victim, records);
            click("btnQuarRefresh");
            QVERIFY(names().isEmpty());
            QCOMPARE(sandbox::readFile(victim), record("here"));
        }
    }

    void selectedFilesAreDeletedAfterOneQuestion()
    {
        putAway({"a", "b", "c", "caf\xe9"});
        show(record("a") + record("b") + record("c") + record("caf\xe9"));
        select({"a", "c", "caf\uFFFD"});
        boxes->answer(VMessageBox::BTN_NO);
        click("btnDeleteQuar");
        QCOMPARE(boxes->seen().front().buttons, QStringList({"&Yes", "&No"}));
        QCOMPARE(list->selectedItems().size(), 3);
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteQuar");
        QCOMPARE(boxes->texts(), QStringList(2, "Do you want to Delete the Selected Quarantine File?"));
        QCOMPARE(names(), QStringList("b"));
        QCOMPARE(sandbox::readFile(records), record("b"));
        QVERIFY(!inQuarantine("a") && inQuarantine("b") && !inQuarantine("c") && !inQuarantine("caf\xe9"));
    }

    void nothingSelectedAsksNothing()
    {
        putAway({"a"});
        show(record("a"));
        select({"a"});
        list->clearSelection();
        putAway({"new"});
        sandbox::writeFile(records, record("new"));
        click("btnDeleteQuar");
        QCOMPARE(names(), QStringList("new"));
        QVERIFY(boxes->seen().empty());
    }

    void recordsThatEndAlikeGoTogether()
    {
        putAway({"name", "first-name"});
        show(record("first-name") + record("name"));
        select({"name"});
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteQuar");
        QVERIFY(names().isEmpty());
        QVERIFY(inQuarantine("first-name") && !inQuarantine("name"));
    }

    void longLinesAreDealtWithInPieces()
    {
        // The name of the second file stands at the end of the long line, in its last piece.
        const std::string longVirus = std::string(1500, 'v') + "other";
        const std::string longLine = "first~#^|~2026~#^|~1~#^|~" + longVirus + "~#^|~\n";
        putAway({"first", "other"});
        show(longLine + record("other"));
        QCOMPARE(names().size(), 2);
        select({"other"});
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteQuar");
        // The first piece of 1023 bytes is left and has no end.
        QCOMPARE(names(), QStringList("first"));
        QCOMPARE(sandbox::readFile(records), longLine.substr(0, 1023) + "~#^|~\n");
    }

    void deleteAllAsksAndDeletes()
    {
        putAway({"a", "b"});
        show(record("a") + record("b"));
        boxes->answer(VMessageBox::BTN_NO);
        click("btnDeleteAllQuar");
        QCOMPARE(names().size(), 2);
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteAllQuar");
        QCOMPARE(boxes->texts(), QStringList(2, "Do you want to delete all the quarantine Files?"));
        QVERIFY(names().isEmpty());
        QVERIFY(!enabled("btnDeleteAllQuar"));
        QCOMPARE(count(), "0");
        QCOMPARE(sandbox::readFile(records), "");
        QVERIFY(!inQuarantine("a") && !inQuarantine("b"));
    }

    void rootTrustsThatAllCouldBeDeleted()
    {
        putAway({"a"});
        fs::create_directory(quarantine / "stays");
        sandbox::writeFile(quarantine / "stays/file", "x");
        show(record("a") + record("stays"));
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteAllQuar");
        QVERIFY(!inQuarantine("a") && inQuarantine("stays"));
        QCOMPARE(sandbox::readFile(records), "");
        QVERIFY(names().isEmpty());
    }

    void usersAreToldWhatTheyMayNot()
    {
        if (isRoot)
            QSKIP("nothing is forbidden to root; the run as user 1000 has this case");
        putAway({"a", "readonly"});
        show(record("a") + record("readonly"));
        select({"a", "readonly"});
        fs::permissions(quarantine, fs::perms(0555));
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteQuar");
        boxes->answer(VMessageBox::BTN_OK);
        click("btnDeleteAllQuar");
        QCOMPARE(boxes->texts(), QStringList({"Not enough permission to delete quarantine files",
                                              "Not enough permission to delete virus files"}));
        fs::permissions(quarantine, fs::perms(0755));

        // A file that the user may not write stays, with its record.
        fs::permissions(quarantine / "readonly", fs::perms(0444));
        boxes->answer(VMessageBox::BTN_YES);
        click("btnDeleteAllQuar");
        QCOMPARE(names(), QStringList("readonly"));
        QCOMPARE(sandbox::readFile(records), record("readonly"));
        QVERIFY(!inQuarantine("a"));
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

    void cancelGoesToTheScanPage()
    {
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "21/11/2026 04:32\n");
        show("");
        QVERIFY(!isOn("btnScan"));
        click("btnCancelQuarantine");
        QCOMPARE(page(), int(VMainWidget::ScanPage));
        QVERIFY(isOn("btnScan"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestQuarantinePage, TEST_USER, TEST_GROUP)
#include "tst_quarantinepage.moc"
