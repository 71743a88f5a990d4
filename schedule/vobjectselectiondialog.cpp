#include "schedule/vobjectselectiondialog.h"

#include "engine/vardo.h"
#include "kit/builders.h"
#include "kit/imagecollection.h"
#include "kit/texts.h"
#include "kit/vmessagebox.h"
#include "kit/vpushbutton.h"
#include "schedule/accessibletree.h"
#include "schedule/objecttree.h"

#include <QLabel>
#include <QPainter>
#include <QTreeWidgetItemIterator>

#include <limits>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using State = ObjectRow::State;

/// Visits all rows below `row`, in order, until `visit` answers true, and tells whether it did.
template <class Visitor>
bool anyBelow(const QTreeWidgetItem& row, const Visitor& visit)
{
    for (int i = 0; i < row.childCount(); ++i) {
        ObjectRow& child = rowOf(row.child(i));
        if (visit(child) || anyBelow(child, visit))
            return true;
    }
    return false;
}

/// `name` as wide as the other pictures of the tree, which have a check box on the left.
QPixmap besideCheckBox(const QString& name)
{
    const QPixmap picture = vardoPixmap(name);
    const double ratio = picture.devicePixelRatio();
    QPixmap wide((QSizeF(ObjectTree::pictureSize) * ratio).toSize());
    wide.setDevicePixelRatio(ratio);
    wide.fill(Qt::transparent);
    const QPointF place(ObjectTree::pictureSize.width() - picture.deviceIndependentSize().width(), 0);
    QPainter(&wide).drawPixmap(place, picture);
    return wide;
}

/// Appends `path` if it names a directory or a regular file; `last` is the end of the list.
void append(const std::string& path, VardoObject*& head, VardoObject*& last)
{
    struct stat status
    {
    };
    if (::stat(path.c_str(), &status) != 0 || !(S_ISDIR(status.st_mode) || S_ISREG(status.st_mode)))
        return;
    const char type = S_ISDIR(status.st_mode) ? Vardo::ScanObjDir : Vardo::ScanObjFile;
    if (!head) {
        head = last = new VardoObject(path.c_str(), type);
    } else if (last->AddLast(path.c_str(), type) >= 0) {
        // Going on from the end keeps 100,000 entries from taking time by the square.
        last = last->objNext;
    }
}

} // namespace

VObjectSelectionDialog::VObjectSelectionDialog(QWidget* parent, const char* name, bool modal,
                                               Qt::WindowFlags flags)
    : DialogWindow(parent, name ? name : "VObjectSelectionDialog", modal, flags)
{
    setShape({610, 450}, 5, 5);
    buildWidgets();
    languageChange();
    connectWidgets();
    init();
}

void VObjectSelectionDialog::buildWidgets()
{
    buildHeader("objectAdd.png", 280);
    lstDirView = new ObjectTree(this, "lstDirView");
    lstDirView->setGeometry(15, 70, 580, 323);
    btnRefresh = build::textButton(this, "btnRefresh");
    btnRefresh->move(425, 403);
    btnScan = build::textButton(this, "btnScan");
    btnScan->move(515, 403);
}

void VObjectSelectionDialog::connectWidgets()
{
    connect(btnRefresh, &QAbstractButton::clicked, this, &VObjectSelectionDialog::initDirView);
    connect(btnScan, &QAbstractButton::clicked, this, &VObjectSelectionDialog::scanSelectedItems);
    connect(lstDirView, &QTreeWidget::itemExpanded, this, &VObjectSelectionDialog::slotExpanded);
    connect(lstDirView, &QTreeWidget::itemCollapsed, this, &VObjectSelectionDialog::slotCollapsed);
    connect(lstDirView, &ObjectTree::rowClicked, this, &VObjectSelectionDialog::itemClicked);
    connect(lstDirView, &ObjectTree::spacePressed, this, &VObjectSelectionDialog::itemClicked);
}

void VObjectSelectionDialog::languageChange()
{
    setWindowTitle(tr("Vardo"));
    lstDirView->setAccessibleName(tr("Select files / directory to scan"));
    lstDirView->setHeaderLabels({tr("Name"), tr("Type"), tr("Size")});
    setTexts(tr, {
                     {lblTitle, "Select files / directory to scan"},
                     {btnClose, nullptr, "Close"},
                     {btnRefresh, "&Refresh", "Refresh the directory", "Alt+R"},
                     {btnScan, "Sc&an", "Start scanning with check marked objects", "Alt+A"},
                 });
}

void VObjectSelectionDialog::init()
{
    loadPictures();
    initDirView();
}

void VObjectSelectionDialog::loadPictures()
{
    const std::pair<QIcon&, const char*> pictures[] = {
        {folderClosedChecked, "folder_close_checked.png"},
        {folderClosedUnchecked, "folder_close_unchecked.png"},
        {folderClosedTristate, "folder_close_tristate.png"},
        {folderOpenChecked, "folder_open_checked.png"},
        {folderOpenUnchecked, "folder_open_unchecked.png"},
        {folderOpenTristate, "folder_open_tristate.png"},
        {fileNormalChecked, "file_checked.png"},
        {fileNormalUnchecked, "file_unchecked.png"},
        {folderLocked, "folder_locked.png"},
    };
    for (const auto& [icon, name] : pictures) {
        // For selected rows too, which would else show a darkened picture.
        for (const QIcon::Mode mode : {QIcon::Normal, QIcon::Selected})
            icon.addPixmap(besideCheckBox(QLatin1StringView(name)), mode);
    }
}

void VObjectSelectionDialog::setReturnObjectPtr(__VardoObject** place)
{
    objects = place;
}

void VObjectSelectionDialog::changeScanCaption()
{
    setTexts(tr, {{btnScan, "Add", nullptr, "Alt+A"}});
}

void VObjectSelectionDialog::initDirView()
{
    lstDirView->clear();
    auto* root = new ObjectRow(QCollator());
    lstDirView->addTopLevelItem(root);
    // For the keyboard alone: the row is not selected.
    lstDirView->setCurrentItem(root, ObjectRow::NameColumn, QItemSelectionModel::NoUpdate);
    lstDirView->expandItem(root);
}

void VObjectSelectionDialog::slotExpanded(QTreeWidgetItem* item)
{
    ObjectRow& row = rowOf(item);
    // A link is not entered, so that the tree has no loops.
    if (row.childCount() == 0 && !row.isSymbolicLink())
        loadChildren(row);
    row.setOpen(true);
    row.setPicture(pictureOf(row));
    lstDirView->viewport()->update();
}

void VObjectSelectionDialog::loadChildren(ObjectRow& row)
{
    const bool inherit = row.state() == State::Checked;
    const QCollator collator;
    QList<QTreeWidgetItem*> children;
    for (DirectoryEntry& entry : listDirectory(row.path())) {
        auto* child = new ObjectRow(std::move(entry), collator);
        if (inherit && child->state() != State::Locked)
            child->setState(State::Checked);
        child->setPicture(pictureOf(*child));
        children << child;
    }
    lstDirView->addRows(row, std::move(children));
}

void VObjectSelectionDialog::slotCollapsed(QTreeWidgetItem* item)
{
    ObjectRow& row = rowOf(item);
    row.setOpen(false);
    row.setPicture(pictureOf(row));
    lstDirView->viewport()->update();
}

const QIcon& VObjectSelectionDialog::pictureOf(const ObjectRow& row) const
{
    if (!row.isDirectory())
        return row.state() == State::Checked ? fileNormalChecked : fileNormalUnchecked;
    switch (row.state()) {
    case State::Locked:
        return folderLocked;
    case State::Checked:
        return row.isOpen() ? folderOpenChecked : folderClosedChecked;
    case State::Tristate:
        return row.isOpen() ? folderOpenTristate : folderClosedTristate;
    default:
        return row.isOpen() ? folderOpenUnchecked : folderClosedUnchecked;
    }
}

void VObjectSelectionDialog::setRow(ObjectRow& row, int state)
{
    if (row.state() == State::Locked)
        return;
    row.setState(state == 1 ? State::Checked : state == 2 ? State::Tristate : State::Unchecked);
    // There is no picture of a partly checked file.
    if (row.isDirectory() || state != 2)
        row.setPicture(pictureOf(row));
}

void VObjectSelectionDialog::itemCheck(QTreeWidgetItem* item, int state)
{
    setRow(rowOf(item), state);
    announceRow(*lstDirView, lstDirView->indexFromItem(item), QAccessible::StateChanged);
    lstDirView->viewport()->update();
}

void VObjectSelectionDialog::itemClicked(QTreeWidgetItem* item)
{
    if (!item)
        return;
    const State present = rowOf(item).state();
    if (present == State::Locked || present == State::None)
        return;
    const int state = present == State::Unchecked ? 1 : 0;
    itemCheck(item, state);
    anyBelow(*item, [this, state](ObjectRow& row) {
        setRow(row, state);
        return false;
    });
    checkParent(item, state);
}

void VObjectSelectionDialog::checkParent(QTreeWidgetItem* item, int state)
{
    QTreeWidgetItem* parent = item->parent();
    if (!parent)
        return;
    if (state == 3) {
        itemCheck(parent, 2);
        checkParent(parent, 3);
        return;
    }
    const bool mixed = anyBelow(*parent, [state](const ObjectRow& row) {
        // Locked rows and special ones that no check has reached count for neither side.
        if (state == 1)
            return row.state() == State::Unchecked;
        return row.state() == State::Checked || row.state() == State::Tristate;
    });
    const int parentState = mixed ? 2 : state == 1 ? 1 : 0;
    itemCheck(parent, parentState);
    checkParent(parent, parentState);
}

void VObjectSelectionDialog::scanSelectedItems()
{
    if (!objects)
        return;
    *objects = nullptr;
    const bool denied = collectChecked();
    if (*objects) {
        close();
        return;
    }
    vMessage(this,
             denied && getuid() != 0 ? tr("Access Denied to selected files")
                                     : tr("Directories/files must be specified!"),
             VMessageBox::Information, okDefault);
}

bool VObjectSelectionDialog::collectChecked()
{
    constexpr int none = std::numeric_limits<int>::max();
    // Rows deeper than this are stood for by the checked row before them.
    int standIn = none;
    bool denied = false;
    VardoObject* last = nullptr;
    for (QTreeWidgetItemIterator it(lstDirView); *it; ++it) {
        const ObjectRow& row = rowOf(*it);
        if (row.state() == State::Locked)
            continue;
        if (row.state() != State::Checked) {
            standIn = none;
            continue;
        }
        const int depth = row.depth();
        if (depth > standIn)
            continue;
        standIn = depth;
        const std::string path = row.path();
        if (::access(path.c_str(), R_OK) == 0)
            append(path, *objects, last);
        else
            denied = true;
    }
    return denied;
}
