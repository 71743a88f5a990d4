// Measures how long the object tree holds its dialog up: treecost files|folders [COUNT]

#include "engine/vardo.h"
#include "kit/framelessflags.h"
#include "kit/vardostyle.h"
#include "schedule/objecttree.h"
#include "schedule/vobjectselectiondialog.h"
#include "tests/support/sandbox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>

#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

const fs::path home = "/home/tester";

void makeEntries(bool folders, int count)
{
    for (int i = 0; i < count; ++i) {
        const fs::path path = home / ("entry number " + std::to_string(i * 7919 % count));
        if (folders)
            fs::create_directory(path);
        else
            sandbox::writeFile(path, "x");
    }
}

/// Until the event loop has nothing left to do, painting included.
void measure(const char* what, const std::function<void()>& action)
{
    QElapsedTimer timer;
    timer.start();
    action();
    QApplication::processEvents();
    std::printf("%-28s %6lld ms\n", what, static_cast<long long>(timer.elapsed()));
}

} // namespace

int main(int argc, char** argv)
{
    if (!sandbox::inside())
        return sandbox::enter(argv, {1000, 1000});
    sandbox::makeInstallation();
    makeEntries(argc > 1 && QByteArray(argv[1]) == "folders",
                argc > 2 ? QByteArray(argv[2]).toInt() : 100'000);
    QApplication application(argc, argv);
    applyVardoStyle(application);
    VObjectSelectionDialog dialog(nullptr, nullptr, false, FRAMELESS_FLAGS);
    VardoObject* chosen = nullptr;
    dialog.setReturnObjectPtr(&chosen);
    dialog.show();
    QApplication::processEvents();

    auto& tree = *dialog.findChild<ObjectTree*>();
    QTreeWidgetItem* row = tree.topLevelItem(0);
    for (const char* name : {"home", "tester"}) {
        row->setExpanded(true);
        int i = 0;
        while (row->child(i)->text(0) != name)
            ++i;
        row = row->child(i);
    }
    measure("open the directory", [&] { row->setExpanded(true); });
    measure("check the directory", [&] { dialog.itemClicked(row); });
    measure("uncheck one entry", [&] { dialog.itemClicked(row->child(0)); });
    measure("sort by size", [&] { tree.header()->setSortIndicator(2, Qt::AscendingOrder); });
    measure("sort by name", [&] { tree.header()->setSortIndicator(0, Qt::DescendingOrder); });
    measure("close the directory", [&] { row->setExpanded(false); });
    measure("hand over all but one", [&] { dialog.findChild<QAbstractButton*>("btnScan")->click(); });
    measure("refresh", [&] { dialog.initDirView(); });
    if (chosen)
        chosen->ClearList();
    return 0;
}
