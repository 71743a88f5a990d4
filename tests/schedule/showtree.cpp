// Shows the object selection with a row of every kind and state, for a look at it.

#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "schedule/objecttree.h"
#include "schedule/vobjectselectiondialog.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTimer>

#include <filesystem>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

void makeFiles()
{
    const fs::path home = "/home/tester";
    for (const char* folder : {"Documents", "Downloads", "Music", "Pictures", "Private", "Videos"})
        fs::create_directories(home / folder);
    for (const char* name : {"Documents/letter.txt", "Documents/report 2026.odt", "Downloads/new.bin",
                             "Downloads/old.bin", "Videos/two\nlines", "Videos/tab\tin it", "Videos/<b>bold",
                             "Videos/caf\xE9 in Latin-1", "Videos/b\u00FCcher.txt"})
        sandbox::writeFile(home / name, std::string(1234, 'x'));
    fs::create_directory_symlink("../Music", home / "Pictures/link to music");
    mkfifo((home / "Documents/pipe").c_str(), 0600);
    fs::permissions(home / "Private", fs::perms::none);
}

QTreeWidgetItem* open(ObjectTree& tree, const QStringList& path)
{
    QTreeWidgetItem* row = tree.topLevelItem(0);
    for (const QString& name : path) {
        row->setExpanded(true);
        int i = 0;
        while (row->child(i)->text(0) != name)
            ++i;
        row = row->child(i);
    }
    return row;
}

void check(VObjectSelectionDialog& dialog)
{
    auto& tree = *dialog.findChild<ObjectTree*>();
    const QStringList home = {"home", "tester"};
    open(tree, home + QStringList({"Downloads", "new.bin"}));
    for (const char* name : {"Documents/letter.txt", "Downloads/new.bin", "Music", "Pictures"})
        dialog.itemClicked(open(tree, home + QString(name).split('/')));
    open(tree, home + QStringList("Downloads"))->setExpanded(false);
    open(tree, home + QStringList({"Pictures", "link to music"}));
    tree.scrollToItem(open(tree, home), QAbstractItemView::PositionAtTop);
}

} // namespace

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enter(argv, {1000, 1000});
    sandbox::makeInstallation();
    makeFiles();
    QApplication application(argc, argv);
    applyVardoStyle(application);
    VObjectSelectionDialog dialog(nullptr, nullptr, true, FRAMELESS_FLAGS);
    QTimer::singleShot(0, &dialog, [&dialog] { check(dialog); });
    return dialog.exec();
}
