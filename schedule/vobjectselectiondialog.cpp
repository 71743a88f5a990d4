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

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using State = ObjectRow::State;

/// Visits the marks of all that is below `row`, in a row of its own or not, until `visit` answers true, and
/// tells whether it did.
template <class Visitor>
bool anyBelow(const QTreeWidgetItem& row, const Visitor& visit)
{
    LoadedDirectory* loaded = static_cast<const ObjectRow&>(row).loaded();
    if (!loaded)
        return false;
    if (std::ranges::any_of(loaded->states, visit))
        return true;
    for (int i = 0; i < row.childCount(); ++i) {
        if (anyBelow(*row.child(i), visit))
            return true;
    }
    return false;
}

void setState(State& present, int state)
{
    if (present != State::Locked)
        present = state == 1 ? State::Checked : state == 2 ? State::Tristate : State::Unchecked;
}

/// A row and all that is loaded below it, as it is now: any thread may look at it later.
struct Branch
{
    explicit Branch(ObjectRow& row);

    std::string path;
    State state;
    std::shared_ptr<const DirectoryListing> listing; ///< null where nothing is loaded
    std::vector<std::uint32_t> order;
    std::vector<State> states;                               ///< by entry
    std::map<std::uint32_t, std::unique_ptr<Branch>> opened; ///< by entry, what is loaded itself
};

/// The walk over all that is loaded, in its order, which tells the paths of what is checked. A directory
/// stands for all below it.
class Gathering
{
  public:
    using Take = std::function<void(const std::string& path)>;

    explicit Gathering(Take take)
        : take_(std::move(take))
    {
    }
    void visit(const Branch& branch, int depth);

  private:
    /// True when the entry stands for itself.
    bool counts(State state, int depth);

    static constexpr int none = std::numeric_limits<int>::max();
    Take take_;
    int standIn_ = none; ///< what is deeper than this is stood for by the checked entry before it
};

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

Branch::Branch(ObjectRow& row)
    : path(row.path())
    , state(row.state())
{
    const LoadedDirectory* loaded = row.loaded();
    if (!loaded)
        return;
    listing = loaded->listing;
    order = loaded->order;
    states = loaded->states;
    for (int i = 0; i < row.childCount(); ++i) {
        if (ObjectRow& child = rowOf(row.child(i)); child.loaded())
            opened[child.entry()] = std::make_unique<Branch>(child);
    }
}

void Gathering::visit(const Branch& branch, int depth)
{
    if (counts(branch.state, depth))
        take_(branch.path);
    std::string path = branch.path == "/" ? branch.path : branch.path + "/";
    const std::size_t directory = path.size();
    for (const std::uint32_t entry : branch.order) {
        if (const auto child = branch.opened.find(entry); child != branch.opened.end()) {
            visit(*child->second, depth + 1);
        } else if (counts(branch.states[entry], depth + 1)) {
            path.resize(directory);
            take_(path += branch.listing->name(entry));
        }
    }
}

bool Gathering::counts(State state, int depth)
{
    if (state == State::Locked)
        return false;
    if (state != State::Checked) {
        standIn_ = none;
        return false;
    }
    if (depth > standIn_)
        return false;
    standIn_ = depth;
    return true;
}

/// Appends `path` if it names a directory or a regular file; `last` is the end of the list.
void append(const char* path, VardoObject*& head, VardoObject*& last)
{
    struct stat status
    {
    };
    if (::stat(path, &status) != 0 || !(S_ISDIR(status.st_mode) || S_ISREG(status.st_mode)))
        return;
    const char type = S_ISDIR(status.st_mode) ? Vardo::ScanObjDir : Vardo::ScanObjFile;
    if (!head) {
        head = last = new VardoObject(path, type);
    } else if (last->AddLast(path, type) >= 0) {
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

/// The tree shows pictures of the dialog's to its end.
VObjectSelectionDialog::~VObjectSelectionDialog()
{
    delete lstDirView;
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
    lstDirView->setPictures([this](const ObjectRow& row) -> const QIcon& { return pictureOf(row); });
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
    lstDirView->start();
}

void VObjectSelectionDialog::slotExpanded(QTreeWidgetItem* item)
{
    ObjectRow& row = rowOf(item);
    // A link is not entered, so that the tree has no loops.
    if (!row.loaded() && !row.isLoading() && !row.isSymbolicLink())
        lstDirView->load(row);
    row.setOpen(true);
    lstDirView->viewport()->update();
}

void VObjectSelectionDialog::slotCollapsed(QTreeWidgetItem* item)
{
    ObjectRow& row = rowOf(item);
    row.setOpen(false);
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

void VObjectSelectionDialog::itemCheck(QTreeWidgetItem* item, int state)
{
    State present = rowOf(item).state();
    setState(present, state);
    rowOf(item).setState(present);
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
    anyBelow(*item, [state](State& below) {
        setState(below, state);
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
    const bool mixed = anyBelow(*parent, [state](State below) {
        // Locked rows and special ones that no check has reached count for neither side.
        return state == 1 ? below == State::Unchecked : below == State::Checked || below == State::Tristate;
    });
    const int parentState = mixed ? 2 : state == 1 ? 1 : 0;
    itemCheck(parent, parentState);
    checkParent(parent, parentState);
}

/// What of the checked paths can be scanned; the list is ended with it, unless somebody has taken it.
struct VObjectSelectionDialog::Chosen
{
    explicit Chosen(const Branch& all);
    ~Chosen()
    {
        if (head)
            head->ClearList();
    }
    Q_DISABLE_COPY_MOVE(Chosen)

    VardoObject* head = nullptr;
    bool denied = false; ///< a checked path was refused
};

VObjectSelectionDialog::Chosen::Chosen(const Branch& all)
{
    VardoObject* last = nullptr;
    Gathering([&](const std::string& path) {
        if (::access(path.c_str(), R_OK) == 0)
            append(path.c_str(), head, last);
        else
            denied = true;
    }).visit(all, 0);
}

void VObjectSelectionDialog::scanSelectedItems()
{
    if (!objects)
        return;
    *objects = nullptr;
    btnScan->setEnabled(false);
    const auto all = std::make_shared<const Branch>(rowOf(lstDirView->topLevelItem(0)));
    background.run([this, all]() -> Background::Result {
        const auto chosen = std::make_shared<Chosen>(*all);
        return [this, chosen] { handOver(*chosen); };
    });
}

void VObjectSelectionDialog::handOver(Chosen& chosen)
{
    btnScan->setEnabled(true);
    *objects = std::exchange(chosen.head, nullptr);
    if (*objects) {
        close();
        return;
    }
    vMessage(this,
             chosen.denied && getuid() != 0 ? tr("Access Denied to selected files")
                                            : tr("Directories/files must be specified!"),
             VMessageBox::Information, okDefault);
}
