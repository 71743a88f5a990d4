// Measures how long the object tree takes, and holds its dialog up, and the memory of it:
// treecost files|folders [COUNT]

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
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

const fs::path home = "/home/tester";

void makeEntries(bool folders, int count)
{
    for (int i = 0; i < count; ++i) {
        const fs::path path = home / ("entry number " + std::to_string(i * 7919LL % count));
        if (folders)
            fs::create_directory(path);
        else
            sandbox::writeFile(path, "x");
    }
}

/// Megabytes of this process, now and at most.
QByteArray memory()
{
    QByteArray text;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:") || line.starts_with("VmHWM:"))
            text += ' ' + QByteArray::number(std::stol(line.substr(6)) / 1024);
    }
    return text;
}

/// Until `done` and the event loop has nothing left to do, painting included; and the longest that the loop
/// was away for.
void measure(const char* what, const std::function<void()>& action, const std::function<bool()>& done)
{
    QElapsedTimer whole, away;
    whole.start();
    away.start();
    qint64 longest = 0;
    action();
    do {
        QApplication::processEvents();
        longest = std::max(longest, away.restart());
        QThread::usleep(200);
    } while (!done());
    QApplication::processEvents();
    longest = std::max(longest, away.elapsed());
    std::printf("%-28s %6lld ms, at most %4lld ms away, MB:%s\n", what,
                static_cast<long long>(whole.elapsed()), static_cast<long long>(longest),
                memory().constData());
    std::fflush(stdout);
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
        while (rowOf(row).isLoading())
            QApplication::processEvents();
        int i = 0;
        while (row->child(i)->text(0) != name)
            ++i;
        row = row->child(i);
    }
    const auto now = [] { return true; };
    const auto ordered = [row, &tree] {
        const ObjectOrder present{tree.header()->sortIndicatorSection(),
                                  tree.header()->sortIndicatorOrder() == Qt::AscendingOrder};
        return rowOf(row).loaded()->orderedBy == present;
    };
    measure(
        "open the directory", [&] { row->setExpanded(true); }, [&] { return !rowOf(row).isLoading(); });
    measure(
        "check the directory", [&] { dialog.itemClicked(row); }, now);
    measure(
        "uncheck one entry", [&] { dialog.itemClicked(row->child(0)); }, now);
    measure(
        "scroll to the end of the rows", [&] { tree.scrollToBottom(); }, now);
    measure(
        "sort by size", [&] { tree.header()->setSortIndicator(2, Qt::AscendingOrder); }, ordered);
    measure(
        "sort by name", [&] { tree.header()->setSortIndicator(0, Qt::DescendingOrder); }, ordered);
    measure(
        "close the directory", [&] { row->setExpanded(false); }, now);
    measure(
        "hand over all but one", [&] { dialog.findChild<QAbstractButton*>("btnScan")->click(); },
        [&] { return chosen != nullptr; });
    measure(
        "refresh", [&] { dialog.initDirView(); }, now);
    if (chosen)
        chosen->ClearList();
    return 0;
}
