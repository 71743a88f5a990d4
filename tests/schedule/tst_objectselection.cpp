#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/imagecollection.h"
#include "schedule/objecttree.h"
#include "schedule/vobjectselectiondialog.h"
#include "tests/support/modalboxes.h"
#include "tests/support/sandbox.h"

#include <QAbstractButton>
#include <QHeaderView>
#include <QTest>

#include <filesystem>
#include <future>
#include <memory>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path home = "/home/tester";

/// What the user sees of a row's state, in short: O an open directory, C a closed one, L a locked one, F a
/// file or special entry; 0 unchecked, 1 checked, 2 partly.
QString look(QTreeWidgetItem* row)
{
    static constexpr struct
    {
        const char* state;
        const char* picture;
    } states[] = {
        {"O0", "folder_open_unchecked.png"}, {"O1", "folder_open_checked.png"},
        {"O2", "folder_open_tristate.png"},  {"C0", "folder_close_unchecked.png"},
        {"C1", "folder_close_checked.png"},  {"C2", "folder_close_tristate.png"},
        {"F0", "file_unchecked.png"},        {"F1", "file_checked.png"},
        {"L", "folder_locked.png"},
    };
    const QImage seen = row->icon(0).pixmap(47, 26).toImage();
    for (const auto& [state, picture] : states) {
        const QImage known = vardoPixmap(picture).toImage();
        if (seen.copy(47 - known.width(), 0, known.width(), 26).convertToFormat(known.format()) == known)
            return state;
    }
    return "unknown";
}

} // namespace

/// The selection of objects in the tree, over files in the home directory. Run as a user and as root.
class TestObjectSelection : public QObject
{
    Q_OBJECT

    std::unique_ptr<VObjectSelectionDialog> dialog;
    ObjectTree* tree = nullptr;
    VardoObject* chosen = nullptr;
    const QString nothing = "Directories/files must be specified!";
    const QString denied = getuid() == 0 ? nothing : "Access Denied to selected files";

    /// Opens a directory and waits until it is read.
    static void open(QTreeWidgetItem* item)
    {
        item->setExpanded(true);
        QTRY_VERIFY(!rowOf(item).isLoading());
    }

    /// The row of a path below home, with all above it opened; "~" is home itself and "/" the root.
    QTreeWidgetItem* row(const QString& path)
    {
        QTreeWidgetItem* found = tree->topLevelItem(0);
        if (path == "/")
            return found;
        for (const QString& name :
             QString("home/tester/" + path).remove('~').split('/', Qt::SkipEmptyParts)) {
            open(found);
            QTreeWidgetItem* child = nullptr;
            for (int i = 0; i < found->childCount() && !child; ++i)
                child = found->child(i)->text(0) == name ? found->child(i) : nullptr;
            if (!child)
                qFatal("no row %s", qPrintable(path));
            found = child;
        }
        return found;
    }

    /// The looks of several rows, with spaces between.
    QString looks(const QString& paths)
    {
        QStringList seen;
        for (const QString& path : paths.split(' '))
            seen << look(row(path));
        return seen.join(' ');
    }

    void click(QTreeWidgetItem* item, int column = 0, Qt::MouseButton button = Qt::LeftButton)
    {
        tree->scrollToItem(item);
        const QRect cell = tree->visualRect(tree->indexFromItem(item, column));
        QTest::mouseClick(tree->viewport(), button, {}, {cell.left() + 5, cell.center().y()});
    }
    void click(const char* paths)
    {
        for (const QString& path : QString(paths).split(' '))
            click(row(path));
    }

    QStringList names(const QString& path)
    {
        QStringList names;
        QTreeWidgetItem* parent = row(path);
        open(parent);
        for (int i = 0; i < parent->childCount(); ++i)
            names << parent->child(i)->text(0);
        return names;
    }

    void press(const char* button)
    {
        QTest::mouseClick(dialog->findChild<QAbstractButton*>(button), Qt::LeftButton);
    }

    /// Until the dialog has looked at what is checked.
    void waitForScan() { QTRY_VERIFY(dialog->findChild<QAbstractButton*>("btnScan")->isEnabled()); }

    /// What the scan button brings, with "d:" or "f:" before each path.
    QString result()
    {
        press("btnScan");
        waitForScan();
        QStringList found;
        for (const VardoObject* object = chosen; object; object = object->objNext)
            found << (object->objType == Vardo::ScanObjDir ? "d:" : "f:") +
                         QString::fromLatin1(object->objName).replace("/home/tester", "~");
        if (chosen)
            std::exchange(chosen, nullptr)->ClearList();
        return dialog->isVisible() ? "the dialog stays" : found.join(' ');
    }

    /// What the scan button's box says; the dialog stays then.
    QString refusal()
    {
        ModalBoxes boxes;
        boxes.answer(VMessageBox::BTN_OK);
        VardoObject stale("", 0);
        chosen = &stale;
        press("btnScan");
        waitForScan();
        [&] { QTRY_VERIFY(!boxes.seen().empty()); }();
        return chosen || !dialog->isVisible() ? "not refused" : boxes.texts().join(' ');
    }

  private slots:
    void initTestCase()
    {
        // Root too is refused what the modes forbid, as on a network's file systems.
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3]{};
        QCOMPARE(syscall(SYS_capset, &header, none), 0);
        QLocale::setDefault(QLocale(QLocale::German));
    }

    void init()
    {
        for (const char* directory : {"docs/deep", "empty", "locked", "odd"})
            fs::create_directories(home / directory);
        for (const char* name : {"docs/a", "docs/b", "docs/deep/x", "docs/deep/y", "odd/file", "secret"})
            sandbox::writeFile(home / name, name);
        fs::create_directory_symlink("docs", home / "dirlink");
        fs::create_directory_symlink("../locked", home / "odd/lockedlink");
        fs::create_symlink("../secret", home / "odd/filelink");
        fs::create_symlink("nowhere", home / "odd/dangling");
        mkfifo((home / "odd/pipe").c_str(), 0600);
        fs::permissions(home / "locked", fs::perms::none);
        fs::permissions(home / "secret", fs::perms::none);
        dialog = std::make_unique<VObjectSelectionDialog>(nullptr, nullptr, false, FRAMELESS_FLAGS);
        dialog->setReturnObjectPtr(&chosen);
        dialog->show();
        tree = dialog->findChild<ObjectTree*>("lstDirView");
    }

    void cleanup()
    {
        dialog.reset();
        for (const char* directory : {"locked", "docs"})
            fs::permissions(home / directory, fs::perms::owner_all);
        for (const fs::path& entry : fs::directory_iterator(home))
            fs::remove_all(entry);
    }

    void rowsTellWhatTheyAre()
    {
        // The look, the type, the size and whether it can be opened.
        const std::pair<const char*, const char*> rows[] = {
            {"empty", "C0 Directory  +"},       {"dirlink", "C0 Symbolic Link  +"},
            {"locked", "L Directory  -"},       {"odd/lockedlink", "L Directory  -"},
            {"secret", "F0 File 6 -"},          {"odd/filelink", "F0 Symbolic Link 6 -"},
            {"odd/dangling", "F0 Special F -"}, {"odd/pipe", "F0 Special F -"},
        };
        for (const auto& [path, expected] : rows) {
            QTreeWidgetItem* item = row(path);
            const bool opens = tree->model()->hasChildren(tree->indexFromItem(item));
            const QStringList seen = {look(item), item->text(1), item->text(2), opens ? "+" : "-"};
            QCOMPARE(seen.join(' '), expected);
        }
    }

    void checksSpreadAndRollUp()
    {
        row("docs/deep/x");
        const QString paths = "/ ~ docs docs/deep docs/deep/x docs/deep/y";
        click("docs");
        QCOMPARE(looks(paths), "O2 O2 O1 O1 F1 F1");
        click("docs/deep/x");
        QCOMPARE(looks(paths), "O2 O2 O2 O2 F0 F1");
        // The last unchecked one fills all above it that has nothing else.
        click("docs/deep/x");
        QCOMPARE(looks(paths), "O2 O2 O1 O1 F1 F1");
        // A click on what is partly checked clears it, closed branches included.
        click("docs/deep/x");
        row("docs/deep")->setExpanded(false);
        QCOMPARE(looks("docs docs/deep"), "O2 C2");
        click("docs");
        QCOMPARE(looks("docs docs/deep /"), "O0 C0 O0");
        QCOMPARE(look(row("docs/deep")->child(1)), "F0");
    }

    void checkedDirectoryOpensChecked()
    {
        click("~");
        QCOMPARE(looks("docs/a docs/deep odd/pipe odd/dangling locked ~"), "F1 C1 F1 F1 L O1");
        QCOMPARE(result(), "d:/home");
    }

    void lockedAndUntouchedRowsDoNothing()
    {
        row("odd/pipe");
        click("locked odd/pipe odd/dangling");
        QCOMPARE(looks("locked odd/pipe odd/dangling /"), "L F0 F0 O0");
        // Nor do they count for what is above them.
        click("odd/file");
        QCOMPARE(looks("odd"), "O2");
        click("odd/filelink");
        QCOMPARE(looks("odd"), "O1");
        click("odd/filelink odd/file");
        QCOMPARE(looks("odd"), "O0");
        // Once a check from above has reached it, a special entry is as any file.
        click("odd odd/pipe");
        QCOMPARE(looks("odd/pipe odd"), "F0 O2");
    }

    void resultNamesTheHighestChecked_data()
    {
        QTest::addColumn<QString>("clicks");
        QTest::addColumn<QString>("objects");
        const auto add = [](const char* what, const char* clicks, const char* objects) {
            QTest::newRow(what) << clicks << objects;
        };
        add("everything", "/", "d:/");
        add("directory and file", "docs/a docs/deep", "f:~/docs/a d:~/docs/deep");
        add("all but one further down", "docs/deep/x docs docs docs/deep/x",
            "f:~/docs/a f:~/docs/b f:~/docs/deep/y");
        add("filled by hand", "docs/a docs/b docs/deep/x docs/deep/y", "d:~/docs");
        add("links lead on", "dirlink odd/file", "d:~/dirlink f:~/odd/file");
        add("refused beside good", "docs/b secret", "f:~/docs/b");
        // What no check has reached ends what its directory stands for: all behind it comes as well.
        add("untouched inside", "odd/file odd/filelink odd/zebra", "d:~/odd f:~/odd/file f:~/odd/zebra");
    }

    void resultNamesTheHighestChecked()
    {
        sandbox::writeFile(home / "odd/zebra", "z");
        QFETCH(QString, clicks);
        click(clicks.toLatin1());
        QTEST(result(), "objects");
    }

    void tellsWhyThereIsNothingToScan()
    {
        click("secret");
        QCOMPARE(refusal(), denied);
        press("btnRefresh");
        QCOMPARE(looks("/ ~"), "O0 C0");
        QCOMPARE(refusal(), nothing);
        // A pipe that a check has reached is dropped, and never waited for.
        click("odd");
        click("odd/file odd/filelink odd/dangling");
        QCOMPARE(refusal(), nothing);
        // What is refused or gone meanwhile hides what is below it all the same.
        press("btnRefresh");
        row("docs/a");
        click("docs");
        fs::permissions(home / "docs", fs::perms::owner_exec);
        QCOMPARE(refusal(), denied);
        fs::permissions(home / "docs", fs::perms::owner_all);
        fs::remove_all(home / "docs");
        QCOMPARE(refusal(), denied);
        fs::create_directory(home / "docs");
    }

    void emptyAndVanishedDirectoriesAreReadAgain()
    {
        QTreeWidgetItem* empty = row("empty");
        QTreeWidgetItem* deep = row("docs/deep");
        fs::remove_all(home / "docs/deep");
        for (QTreeWidgetItem* item : {empty, deep}) {
            item->setExpanded(true);
            QCOMPARE(item->childCount(), 0);
            QCOMPARE(look(item), "O0");
            item->setExpanded(false);
        }
        sandbox::writeFile(home / "empty/new", "n");
        QCOMPARE(names("empty"), QStringList("new"));
        // Otherwise a directory is read once; a link to one never.
        sandbox::writeFile(home / "docs/new", "n");
        row("docs")->setExpanded(false);
        QVERIFY(!names("docs").contains("new"));
        QVERIFY(names("dirlink").isEmpty());
        QCOMPARE(looks("dirlink"), "O0");
    }

    void namesAreBytes()
    {
        fs::create_directory(home / "names");
        for (const char* name : {"caf\xE8", "caf\xE9", "two\nlines", "\u202Ecod.txt"})
            sandbox::writeFile(home / "names" / name, "x");
        QStringList shown = names("names");
        shown.sort();
        QCOMPARE(shown, QStringList({"caf\uFFFD", "caf\uFFFD", "two\u240Alines", "\uFFFDcod.txt"}));
        click("names/two\u240Alines names/caf\uFFFD"); // of these two the first in the order of bytes
        QCOMPARE(result(), "f:~/names/caf\u00E8 f:~/names/two\nlines");
    }

    /// Rows are made as the user gets there; what has none yet is checked, sorted and handed over all the
    /// same.
    void largeDirectoryComesInSlices()
    {
        fs::create_directory(home / "many");
        constexpr int count = 2500;
        for (int i = 0; i < count; ++i)
            sandbox::writeFile(home / "many" / std::to_string(10'000 + i), i == count - 1 ? "largest" : "x");
        QTreeWidgetItem* many = row("many");
        open(many);
        QCOMPARE(many->childCount(), 1000);
        click("many many/10003");
        QCOMPARE(look(many), "O2");
        tree->setCurrentItem(many->child(999));
        QCOMPARE(many->childCount(), 2000);
        QCOMPARE(look(many->child(1999)), "F1");
        tree->header()->setSortIndicator(SizeColumn, Qt::DescendingOrder);
        QTRY_COMPARE(many->child(0)->text(NameColumn), "12499");
        QCOMPARE(many->child(many->childCount() - 1)->text(NameColumn), "10999"); // where the keyboard is
        tree->header()->setSortIndicator(NameColumn, Qt::AscendingOrder);
        QTRY_COMPARE(many->child(0)->text(NameColumn), "10000");
        QCOMPARE(look(row("many/10003")), "F0");
        click("many/10003");
        QCOMPARE(look(many), "O1");
        click("many/10004");
        QCOMPARE(result().count("f:~/many/"), count - 1);
    }

    /// A call on a file system whose server is gone holds nobody up, and is left behind in the end.
    void hangingWorkIsNotWaitedFor()
    {
        for (const bool goes : {false, true}) {
            std::promise<void> server;
            bool answered = false;
            auto background = std::make_unique<Background>(this);
            background->run([&, answer = server.get_future().share()]() -> Background::Result {
                answer.wait();
                return [&] { answered = true; };
            });
            QVERIFY(!answered);
            if (goes)
                background.reset();
            server.set_value();
            if (goes)
                QTest::qWait(100);
            QTRY_COMPARE(answered, !goes);
        }
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
        QCOMPARE(names("sizes"), QStringList({"a", "b", "C", "d", "p"}));
        clickHeader(2);
        QCOMPARE(names("sizes"), QStringList({"d", "b", "a", "C", "p"}));
        // What opens later comes in the present order.
        clickHeader(0);
        clickHeader(0);
        QCOMPARE(names("docs"), QStringList({"deep", "b", "a"}));
    }

    void mouse()
    {
        QTreeWidgetItem* file = row("docs/a");
        tree->scrollToItem(file);
        const QRect place = tree->visualItemRect(file);
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, {place.left() - 5, place.center().y()});
        click(file, 0, Qt::RightButton);
        QCOMPARE(look(file), "F0");
        click(file, 2);
        QCOMPARE(look(file), "F1");
        // A double click is one click that opens too.
        QTreeWidgetItem* folder = row("docs/deep");
        click(folder);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {},
                           tree->visualItemRect(folder).topLeft() + QPoint(5, 9));
        QCOMPARE(looks("docs/deep docs/deep/x"), "O1 F1");
    }

    void keyboard()
    {
        const auto key = [this](Qt::Key code, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(dialog->focusWidget(), code, modifiers);
        };
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
        key(Qt::Key_Space);
        QCOMPARE(looks("/"), "O1");
        key(Qt::Key_Space);
        tree->setCurrentItem(row("docs/a"));
        for (const Qt::Key code : {Qt::Key_Plus, Qt::Key_Right, Qt::Key_Return, Qt::Key_Enter})
            key(code);
        QCOMPARE(looks("docs/a"), "F0");
        tree->setCurrentItem(row("docs"));
        key(Qt::Key_Asterisk);
        QCOMPARE(row("docs/deep")->childCount(), 0);
        tree->setCurrentItem(row("locked"));
        fs::permissions(home / "locked", fs::perms::owner_all);
        sandbox::writeFile(home / "locked/file", "x");
        key(Qt::Key_Plus);
        QCOMPARE(row("locked")->childCount(), 0);
        tree->setCurrentItem(row("docs"));
        key(Qt::Key_Space);
        key(Qt::Key_Escape);
        QVERIFY(!dialog->isVisible() && !chosen); // leaving chooses nothing
        dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
        key(Qt::Key_A, Qt::AltModifier);
        QTRY_VERIFY(chosen);
        std::exchange(chosen, nullptr)->ClearList();
    }

    void addsForTheScheduleEditor()
    {
        dialog->changeScanCaption();
        QCOMPARE(dialog->findChild<QAbstractButton*>("btnScan")->text(), "Add");
        // Without a place for the result the button does nothing.
        dialog->setReturnObjectPtr(nullptr);
        dialog->checkParent(row("docs/a"), 3);
        QCOMPARE(looks("docs ~ /"), "O2 O2 O2");
        click("docs/a");
        press("btnScan");
        QVERIFY(dialog->isVisible());
    }
};

VARDO_SANDBOX_TEST_MAIN(TestObjectSelection, 0, 0)
#include "tst_objectselection.moc"
