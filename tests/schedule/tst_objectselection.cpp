#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/imagecollection.h"
#include "schedule/objecttree.h"
#include "schedule/vobjectselectiondialog.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"

#include <QAbstractButton>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTest>

#include <filesystem>
#include <memory>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path home = "/home/tester";
const QString root = QStringLiteral("/");

/// The picture of a row by its name, as the user sees it.
QString pictureOf(QTreeWidgetItem* row)
{
    const QImage seen = row->icon(0).pixmap(47, 26).toImage();
    for (const char* name : {"folder_close_checked", "folder_close_unchecked", "folder_close_tristate",
                             "folder_open_checked", "folder_open_unchecked", "folder_open_tristate",
                             "folder_locked", "file_checked", "file_unchecked"}) {
        const QImage known = vardoPixmap(QString(name) + ".png").toImage();
        if (seen.copy(47 - known.width(), 0, known.width(), 26).convertToFormat(known.format()) == known)
            return name;
    }
    return "unknown";
}

} // namespace

/// The selection of objects in the tree, over files in the home directory. Built for a user and for root.
class TestObjectSelection : public QObject
{
    Q_OBJECT

    std::unique_ptr<VObjectSelectionDialog> dialog;
    std::unique_ptr<ModalBoxes> boxes;
    ObjectTree* tree = nullptr;
    VardoObject* chosen = nullptr;

    /// Opens all above it and gives the row of a path below home; "" is home itself.
    QTreeWidgetItem* row(const QString& path)
    {
        QTreeWidgetItem* found = tree->topLevelItem(0);
        for (const QString& name : ("home/tester/" + path).split('/', Qt::SkipEmptyParts)) {
            found->setExpanded(true);
            QTreeWidgetItem* child = nullptr;
            for (int i = 0; i < found->childCount() && !child; ++i)
                child = found->child(i)->text(0) == name ? found->child(i) : nullptr;
            if (!child)
                qFatal("no row %s", qPrintable(path));
            found = child;
        }
        return found;
    }

    QString picture(const QString& path) { return pictureOf(row(path)); }
    QString rootPicture() { return pictureOf(tree->topLevelItem(0)); }

    void click(QTreeWidgetItem* item, int column = 0, Qt::MouseButton button = Qt::LeftButton)
    {
        tree->scrollToItem(item);
        const QRect cell = tree->visualRect(tree->indexFromItem(item, column));
        QTest::mouseClick(tree->viewport(), button, {}, {cell.left() + 5, cell.center().y()});
    }
    void click(const QString& path) { click(row(path)); }

    QStringList names(const QString& path)
    {
        QStringList names;
        QTreeWidgetItem* parent = row(path);
        parent->setExpanded(true);
        for (int i = 0; i < parent->childCount(); ++i)
            names << parent->child(i)->text(0);
        return names;
    }

    void press(const char* button)
    {
        QTest::mouseClick(dialog->findChild<QAbstractButton*>(button), Qt::LeftButton);
    }

    /// Presses the scan button. What comes back: "d:" or "f:" and the path, or what the box says.
    QStringList result()
    {
        boxes = std::make_unique<ModalBoxes>();
        press("btnScan");
        QStringList found;
        for (const VardoObject* object = chosen; object; object = object->objNext)
            found << (object->objType == Vardo::ScanObjDir ? "d:" : "f:") +
                         QString::fromLatin1(object->objName).replace("/home/tester", "~");
        if (chosen && dialog->isVisible())
            found << "still open";
        if (chosen)
            chosen->ClearList();
        chosen = nullptr;
        boxes.reset();
        return found;
    }

    void expectBox(const QString& text)
    {
        boxes = std::make_unique<ModalBoxes>();
        boxes->answer(VMessageBox::BTN_OK);
        press("btnScan");
        QCOMPARE(boxes->texts(), QStringList(text));
        QVERIFY(!chosen);
        QVERIFY(dialog->isVisible());
    }

    static void makeFiles()
    {
        fs::create_directories(home / "docs/deep");
        fs::create_directories(home / "empty");
        fs::create_directories(home / "locked");
        fs::create_directories(home / "odd");
        for (const char* name : {"docs/a", "docs/b", "docs/deep/x", "docs/deep/y", "odd/file", "secret"})
            sandbox::writeFile(home / name, name);
        fs::create_directory_symlink("docs", home / "dirlink");
        fs::create_symlink("../secret", home / "odd/filelink");
        fs::create_symlink("nowhere", home / "odd/dangling");
        mkfifo((home / "odd/pipe").c_str(), 0600);
        fs::permissions(home / "locked", fs::perms::none);
        fs::permissions(home / "secret", fs::perms::none);
    }

  private slots:
    void initTestCase()
    {
        // Root too is refused what the modes forbid, as on a network's file systems.
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
        QCOMPARE(syscall(SYS_capset, &header, none), 0);
    }

    void init()
    {
        sandbox::makeInstallation();
        makeFiles();
        chosen = nullptr;
        dialog = std::make_unique<VObjectSelectionDialog>(nullptr, nullptr, false, FRAMELESS_FLAGS);
        dialog->setReturnObjectPtr(&chosen);
        dialog->show();
        tree = dialog->findChild<ObjectTree*>("lstDirView");
    }

    void cleanup()
    {
        boxes.reset();
        dialog.reset();
        fs::permissions(home / "locked", fs::perms::owner_all);
        for (const fs::path& entry : fs::directory_iterator(home))
            fs::remove_all(entry);
    }

    void opensOnTheFirstLevel()
    {
        QCOMPARE(dialog->size(), QSize(610, 450));
        QVERIFY(!dialog->mask().isEmpty());
        QCOMPARE(tree->topLevelItemCount(), 1);
        QTreeWidgetItem* top = tree->topLevelItem(0);
        QVERIFY(top->isExpanded() && top->childCount() > 3);
        QCOMPARE(top->text(0) + '|' + top->text(1) + '|' + top->text(2), "/||");
        QCOMPARE(rootPicture(), "folder_open_unchecked");
        expectBox("Directories/files must be specified!");
    }

    void rowsTellWhatTheyAre_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("size");
        QTest::addColumn<QString>("picture");
        QTest::addColumn<bool>("expander");
        const auto add = [](const char* path, const char* type, const char* size, const char* picture,
                            bool expander) {
            QTest::newRow(path) << path << type << size << picture << expander;
        };
        add("docs", "Directory", "", "folder_close_unchecked", true);
        add("empty", "Directory", "", "folder_close_unchecked", true);
        add("docs/a", "File", "6", "file_unchecked", false);
        add("dirlink", "Symbolic Link", "", "folder_close_unchecked", true);
        add("locked", "Directory", "", "folder_locked", false);
        add("secret", "File", "6", "file_unchecked", false);
        add("odd/filelink", "Symbolic Link", "6", "file_unchecked", false);
        add("odd/dangling", "Special", "F", "file_unchecked", false);
        add("odd/pipe", "Special", "F", "file_unchecked", false);
    }

    void rowsTellWhatTheyAre()
    {
        QFETCH(QString, path);
        QTEST(row(path)->text(1), "type");
        QTEST(row(path)->text(2), "size");
        QTEST(picture(path), "picture");
        QTEST(tree->model()->hasChildren(tree->indexFromItem(row(path))), "expander");
    }

    void checksSpreadAndRollUp()
    {
        row("docs/deep/x");
        click("docs");
        QCOMPARE(picture("docs"), "folder_open_checked");
        QCOMPARE(picture("docs/deep"), "folder_open_checked");
        QCOMPARE(picture("docs/deep/x"), "file_checked");
        QCOMPARE(picture(""), "folder_open_tristate");
        QCOMPARE(rootPicture(), "folder_open_tristate");

        click("docs/deep/x");
        QCOMPARE(picture("docs/deep"), "folder_open_tristate");
        QCOMPARE(picture("docs"), "folder_open_tristate");
        QCOMPARE(picture("docs/deep/y"), "file_checked");

        // The last unchecked one fills all above it that has nothing else.
        click("docs/deep/x");
        QCOMPARE(picture("docs/deep"), "folder_open_checked");
        QCOMPARE(picture("docs"), "folder_open_checked");

        // A click on what is partly checked clears it, closed branches included.
        click("docs/deep/x");
        row("docs/deep")->setExpanded(false);
        QCOMPARE(picture("docs/deep"), "folder_close_tristate");
        click("docs");
        QCOMPARE(picture("docs"), "folder_open_unchecked");
        QCOMPARE(pictureOf(row("docs/deep")->child(1)), "file_unchecked");
        QCOMPARE(picture("docs/deep"), "folder_close_unchecked");
        QCOMPARE(rootPicture(), "folder_open_unchecked");
    }

    void checkedDirectoryOpensChecked()
    {
        click("");
        QCOMPARE(picture("docs/a"), "file_checked");
        QCOMPARE(picture("docs/deep"), "folder_close_checked");
        QCOMPARE(picture("odd/pipe"), "file_checked");
        QCOMPARE(picture("odd/dangling"), "file_checked");
        QCOMPARE(picture("locked"), "folder_locked");
        QCOMPARE(picture(""), "folder_open_checked");
        QCOMPARE(result(), QStringList("d:/home"));
    }

    void lockedAndUntouchedRowsDoNothing()
    {
        for (const char* path : {"locked", "odd/pipe", "odd/dangling"}) {
            const QString before = picture(path);
            click(path);
            QCOMPARE(picture(path), before);
        }
        QCOMPARE(rootPicture(), "folder_open_unchecked");
        // Nor do they count for what is above them.
        click("odd/file");
        QCOMPARE(picture("odd"), "folder_open_tristate");
        click("odd/filelink");
        QCOMPARE(picture("odd"), "folder_open_checked");
        click("odd/filelink");
        click("odd/file");
        QCOMPARE(picture("odd"), "folder_open_unchecked");
        // Once a check from above has reached it, a special entry is as any file.
        click("odd");
        QCOMPARE(picture("odd/pipe"), "file_checked");
        click("odd/pipe");
        QCOMPARE(picture("odd/pipe"), "file_unchecked");
        QCOMPARE(picture("odd"), "folder_open_tristate");
        QCOMPARE(row("odd/pipe")->text(2), "F");
    }

    void resultNamesTheHighestChecked_data()
    {
        QTest::addColumn<QStringList>("clicks");
        QTest::addColumn<QStringList>("objects");
        QTest::newRow("directory and file")
            << QStringList({"docs/a", "docs/deep"}) << QStringList({"f:~/docs/a", "d:~/docs/deep"});
        QTest::newRow("all but one") << QStringList({"docs", "docs/b"})
                                     << QStringList({"f:~/docs/a", "d:~/docs/deep"});
        QTest::newRow("filled by hand")
            << QStringList({"docs/a", "docs/b", "docs/deep/x", "docs/deep/y"}) << QStringList({"d:~/docs"});
        QTest::newRow("links lead on")
            << QStringList({"dirlink", "odd/file"}) << QStringList({"d:~/dirlink", "f:~/odd/file"});
        QTest::newRow("refused beside good")
            << QStringList({"docs/b", "secret"}) << QStringList({"f:~/docs/b"});
    }

    void resultNamesTheHighestChecked()
    {
        QFETCH(QStringList, clicks);
        for (const QString& path : clicks)
            click(path);
        QTEST(result(), "objects");
        QVERIFY(!dialog->isVisible());
    }

    /// What no check has reached ends what its directory stands for: the children behind it come as well.
    void directoryDoesNotStandForWhatFollowsAnUntouchedRow()
    {
        click("odd/file");
        click("odd/filelink");
        QCOMPARE(picture("odd"), "folder_open_checked");
        fs::permissions(home / "secret", fs::perms::owner_all);
        QCOMPARE(result(), QStringList({"d:~/odd", "f:~/odd/file", "f:~/odd/filelink"}));
    }

    void wholeComputerIsOneObject()
    {
        click(tree->topLevelItem(0));
        QCOMPARE(result(), QStringList("d:/"));
    }

    void tellsWhyThereIsNothingToScan()
    {
        const QString nothing = "Directories/files must be specified!";
        click("secret");
        expectBox(getuid() == 0 ? nothing : "Access Denied to selected files");
        press("btnRefresh");
        QCOMPARE(rootPicture(), "folder_open_unchecked");
        QVERIFY(!row("")->isExpanded());
        expectBox(nothing);
        // A pipe that a check has reached is dropped, and never waited for.
        click("odd");
        for (const char* name : {"odd/file", "odd/filelink", "odd/dangling"})
            click(name);
        expectBox(nothing);
        // What is gone meanwhile is refused like what may not be read.
        press("btnRefresh");
        click("docs/a");
        fs::remove(home / "docs/a");
        expectBox(getuid() == 0 ? nothing : "Access Denied to selected files");
    }

    void emptyAndVanishedDirectoriesAreReadAgain()
    {
        QTreeWidgetItem* empty = row("empty");
        QTreeWidgetItem* deep = row("docs/deep");
        fs::remove_all(home / "docs/deep");
        for (QTreeWidgetItem* item : {empty, deep}) {
            item->setExpanded(true);
            QCOMPARE(item->childCount(), 0);
            QCOMPARE(pictureOf(item), "folder_open_unchecked");
            item->setExpanded(false);
        }
        sandbox::writeFile(home / "empty/new", "n");
        QCOMPARE(names("empty"), QStringList("new"));
        // Otherwise a directory is read once; a link to one never.
        sandbox::writeFile(home / "docs/new", "n");
        row("docs")->setExpanded(false);
        QVERIFY(!names("docs").contains("new"));
        QVERIFY(names("dirlink").isEmpty());
        QCOMPARE(picture("dirlink"), "folder_open_unchecked");
    }

    void namesAreBytes()
    {
        const std::string odd[] = {"two\nlines",
                                   "tab\tinside",
                                   "<b>bold",
                                   "caf\xE9",
                                   "caf\xE8",
                                   "\xE2\x80\xAE"
                                   "cod.txt"};
        fs::create_directory(home / "names");
        for (const std::string& name : odd)
            sandbox::writeFile(home / "names" / name, "x");
        QStringList shown = names("names");
        shown.sort();
        QStringList expected = {"two\u240Alines", "tab\u2409inside", "<b>bold",
                                "caf\uFFFD",      "caf\uFFFD",       "\uFFFDcod.txt"};
        expected.sort();
        QCOMPARE(shown, expected);
        click("names/two\u240Alines");
        click("names/caf\uFFFD"); // the first in order of bytes
        QCOMPARE(result(), QStringList({"f:~/names/caf\u00E8", "f:~/names/two\nlines"}));
    }

    void rowsSortUnderTheHeaders()
    {
        fs::create_directory(home / "sizes");
        for (const auto& [name, size] : {std::pair("b", 9), {"a", 10}, {"C", 100}})
            sandbox::writeFile(home / "sizes" / name, std::string(static_cast<std::size_t>(size), 'x'));
        mkfifo((home / "sizes/p").c_str(), 0600);
        fs::create_directory(home / "sizes/d");
        const auto clickHeader = [this](int column) {
            QHeaderView* header = tree->header();
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              {header->sectionViewportPosition(column) + 5, 5});
        };
        clickHeader(2);
        QCOMPARE(names("sizes"), QStringList({"d", "b", "a", "C", "p"}));
        clickHeader(2);
        QCOMPARE(names("sizes"), QStringList({"p", "C", "a", "b", "d"}));
        clickHeader(1);
        QCOMPARE(row("sizes/d"), row("sizes")->child(0));
        QCOMPARE(row("sizes/p"), row("sizes")->child(4));
        clickHeader(0);
        QStringList sorted = names("sizes");
        std::sort(sorted.begin(), sorted.end(), QCollator());
        QCOMPARE(names("sizes"), sorted);
        // What opens later comes in the present order.
        clickHeader(0);
        QCOMPARE(names("docs"), QStringList({"deep", "b", "a"}));
    }

    void mouse()
    {
        QTreeWidgetItem* file = row("docs/a");
        tree->scrollToItem(file);
        const QRect place = tree->visualItemRect(file);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, {place.left() - 5, place.center().y()});
        QCOMPARE(picture("docs/a"), "file_unchecked");
        click(file, 0, Qt::RightButton);
        QCOMPARE(picture("docs/a"), "file_unchecked");
        click(file, 2);
        QCOMPARE(picture("docs/a"), "file_checked");
        // A double click is one click that opens too.
        QTreeWidgetItem* folder = row("docs/deep");
        click(folder);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {},
                           tree->visualItemRect(folder).topLeft() + QPoint(5, 9));
        QCOMPARE(pictureOf(folder), "folder_open_checked");
        QCOMPARE(picture("docs/deep/x"), "file_checked");
    }

    void keyboard()
    {
        const auto key = [this](Qt::Key code, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(dialog->focusWidget(), code, modifiers);
        };
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
        key(Qt::Key_Space);
        QCOMPARE(rootPicture(), "folder_open_checked");
        key(Qt::Key_Space);
        QCOMPARE(rootPicture(), "folder_open_unchecked");
        tree->setCurrentItem(row("docs/a"));
        for (const Qt::Key code : {Qt::Key_Plus, Qt::Key_Right, Qt::Key_Return, Qt::Key_Enter})
            key(code);
        QCOMPARE(picture("docs/a"), "file_unchecked");
        tree->setCurrentItem(row("docs"));
        key(Qt::Key_Asterisk);
        QCOMPARE(row("docs/deep")->childCount(), 0);
        tree->setCurrentItem(row("locked"));
        key(Qt::Key_Plus);
        QCOMPARE(picture("locked"), "folder_locked");
        QVERIFY(dialog->isVisible());
        tree->setCurrentItem(row("docs"));
        key(Qt::Key_Space);
        key(Qt::Key_A, Qt::AltModifier);
        QTRY_VERIFY(!dialog->isVisible());
        QVERIFY(chosen && !chosen->objNext);
        chosen->ClearList();
    }

    void leavingChoosesNothing()
    {
        click("docs");
        for (const bool byKey : {true, false}) {
            dialog->show();
            byKey ? QTest::keyClick(dialog.get(), Qt::Key_Escape) : press("btnClose");
            QVERIFY(!dialog->isVisible() && !chosen);
        }
    }

    void addsForTheScheduleEditor()
    {
        dialog->changeScanCaption();
        QCOMPARE(dialog->findChild<QAbstractButton*>("btnScan")->text(), "Add");
        // Without a place for the result the button does nothing.
        dialog->setReturnObjectPtr(nullptr);
        click("docs");
        press("btnScan");
        QVERIFY(dialog->isVisible());
    }

    void slotsCanBeToldStates()
    {
        dialog->checkParent(row("docs/a"), 3);
        QCOMPARE(picture("docs") + picture("") + rootPicture(), QString("folder_open_tristate").repeated(3));
        dialog->itemCheck(row("docs/a"), 1);
        dialog->itemCheck(row("docs/a"), 2);
        QCOMPARE(picture("docs/a"), "file_checked"); // there is no other picture
        dialog->itemCheck(row("locked"), 1);
        QCOMPARE(picture("locked"), "folder_locked");
        dialog->itemClicked(nullptr);
    }
};

VARDO_SANDBOX_TEST_MAIN(TestObjectSelection, TEST_USER, TEST_USER)
#include "tst_objectselection.moc"
