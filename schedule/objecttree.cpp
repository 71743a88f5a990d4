#include "schedule/objecttree.h"

#include "kit/palettes.h"
#include "schedule/accessibletree.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace {

/// So many rows of a directory are made at a time: as many as there are, within these.
constexpr std::uint32_t fewestRows = 1000, mostRows = 5000;
/// More are made when the view is this close to the end of the rows.
constexpr int rowsAhead = 100;

} // namespace

ObjectTree::ObjectTree(QWidget* parent, const char* name)
    : QTreeWidget(parent)
{
    installAccessibleTree();
    setObjectName(QLatin1StringView(name));
    setPalette(contentPalette());
    setColumnCount(ObjectColumnCount);
    setIconSize(pictureSize);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setRootIsDecorated(true);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    header()->setStretchLastSection(true);
    // Sorting is not left to the view, which knows of the rows alone.
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    header()->setSortIndicator(NameColumn, Qt::AscendingOrder);
    connect(header(), &QHeaderView::sortIndicatorChanged, this, &ObjectTree::sortAll);
    connect(this, &QTreeWidget::clicked, this, &ObjectTree::noteClick);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &ObjectTree::showMoreInView);
}

void ObjectTree::start()
{
    waiting_.clear();
    clear();
    auto* root = new ObjectRow;
    addTopLevelItem(root);
    // For the keyboard alone: the row is not selected.
    setCurrentItem(root, NameColumn, QItemSelectionModel::NoUpdate);
    expandItem(root);
}

ObjectOrder ObjectTree::presentOrder() const
{
    return {header()->sortIndicatorSection(), header()->sortIndicatorOrder() == Qt::AscendingOrder};
}

void ObjectTree::load(ObjectRow& row)
{
    row.setLoading(true);
    const quint64 ticket = ++tickets_;
    waiting_[ticket] = &row;
    background_.run([this, ticket, path = row.path(), order = presentOrder()]() -> Background::Result {
        const std::shared_ptr<LoadedDirectory> loaded = loadDirectory(path, order);
        return [this, ticket, loaded] { takeLoaded(ticket, loaded); };
    });
}

void ObjectTree::takeLoaded(quint64 ticket, std::shared_ptr<LoadedDirectory> loaded)
{
    const auto waiting = waiting_.extract(ticket);
    if (waiting.empty())
        return;
    ObjectRow& row = *waiting.mapped();
    row.setLoading(false);
    // An empty directory is read again when it is opened the next time.
    if (loaded->order.empty())
        return;
    if (row.state() == ObjectState::Checked)
        std::ranges::replace_if(
            loaded->states, [](ObjectState state) { return state != ObjectState::Locked; },
            ObjectState::Checked);
    row.setLoaded(std::make_unique<LoadedDirectory>(std::move(*loaded)));
    showMore(row);
    if (row.loaded()->orderedBy != presentOrder())
        sort({&row});
}

/// Makes the next rows, ahead of those that stand behind all.
void ObjectTree::showMore(ObjectRow& row)
{
    LoadedDirectory& loaded = *row.loaded();
    const auto total = static_cast<std::uint32_t>(loaded.order.size());
    const std::uint32_t end =
        loaded.shown + std::min(total - loaded.shown, std::clamp(loaded.shown, fewestRows, mostRows));
    QList<QTreeWidgetItem*> rows;
    for (; loaded.shown < end; ++loaded.shown) {
        const std::uint32_t entry = loaded.order[loaded.shown];
        if (!std::ranges::count(loaded.trailing, entry))
            rows << new ObjectRow(row, entry);
    }
    row.insertChildren(row.childCount() - static_cast<int>(loaded.trailing.size()), rows);
}

void ObjectTree::showMoreInView()
{
    const int bottom = viewport()->height();
    for (QModelIndex at = indexAt({1, 1}); at.isValid() && visualRect(at).top() < bottom;) {
        QTreeWidgetItem* above = itemFromIndex(at)->parent();
        const int row = at.row();
        at = indexBelow(at);
        const LoadedDirectory* loaded = above ? rowOf(above).loaded() : nullptr;
        if (!loaded || loaded->isWhole() || row + rowsAhead < above->childCount())
            continue;
        showMore(rowOf(above));
        return; // which brings the view up to date, and asks again
    }
}

void ObjectTree::sortAll()
{
    std::vector<ObjectRow*> rows{&rowOf(topLevelItem(0))};
    for (std::size_t next = 0; next < rows.size(); ++next) {
        for (int i = 0; i < rows[next]->childCount(); ++i) {
            if (ObjectRow& child = rowOf(rows[next]->child(i)); child.loaded())
                rows.push_back(&child);
        }
    }
    sort(rows);
}

void ObjectTree::sort(const std::vector<ObjectRow*>& rows)
{
    auto work = std::make_shared<std::vector<Sorted>>();
    for (ObjectRow* row : rows) {
        if (!row->loaded())
            continue;
        work->push_back({++tickets_, row->loaded()->listing, {}});
        waiting_[tickets_] = row;
    }
    background_.run([this, work, order = presentOrder()]() -> Background::Result {
        for (Sorted& each : *work)
            each.order = each.listing->inOrder(order);
        return [this, work, order] {
            for (Sorted& each : *work)
                takeOrder(each, order);
        };
    });
}

void ObjectTree::takeOrder(Sorted& sorted, ObjectOrder order)
{
    const auto waiting = waiting_.extract(sorted.ticket);
    // Of two headers that were clicked the second one counts.
    if (waiting.empty() || order != presentOrder())
        return;
    ObjectRow& row = *waiting.mapped();
    LoadedDirectory& loaded = *row.loaded();
    loaded.order = std::move(sorted.order);
    loaded.orderedBy = order;
    if (!loaded.isWhole()) {
        remake(row);
        return;
    }
    std::vector<std::uint32_t> ranks(loaded.order.size());
    for (std::uint32_t rank = 0; rank < loaded.order.size(); ++rank)
        ranks[loaded.order[rank]] = rank;
    for (int i = 0; i < row.childCount(); ++i)
        rowOf(row.child(i)).setRank(ranks[rowOf(row.child(i)).entry()]);
    row.sortChildren(NameColumn, Qt::AscendingOrder);
}

/// Makes the rows of a large directory anew. Those that are open, or where the keyboard is, are kept and
/// stand behind the others.
void ObjectTree::remake(ObjectRow& row)
{
    LoadedDirectory& loaded = *row.loaded();
    QTreeWidgetItem* const current = currentItem();
    QList<QTreeWidgetItem*> kept;
    loaded.trailing.clear();
    for (QTreeWidgetItem* child : row.takeChildren()) {
        if (child != current && !rowOf(child).loaded() && !rowOf(child).isLoading()) {
            delete child;
            continue;
        }
        kept << child;
        loaded.trailing.push_back(rowOf(child).entry());
    }
    row.addChildren(kept);
    loaded.shown = 0;
    showMore(row);
    for (QTreeWidgetItem* child : kept)
        openAgain(rowOf(child));
    if (kept.contains(current))
        setCurrentItem(current, NameColumn, QItemSelectionModel::NoUpdate);
    scrollToItem(&row, PositionAtTop);
}

/// The view has forgotten what of these rows was open.
void ObjectTree::openAgain(ObjectRow& row)
{
    for (int i = 0; i < row.childCount(); ++i)
        openAgain(rowOf(row.child(i)));
    if (row.isOpen())
        expandItem(&row);
}

void ObjectTree::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeWidget::currentChanged(current, previous);
    if (hasFocus())
        announceRow(*this, current, QAccessible::Focus);
}

void ObjectTree::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space)
        emit spacePressed(currentItem());
    // Qt would open every directory below the row.
    else if (event->key() != Qt::Key_Asterisk)
        QTreeWidget::keyPressEvent(event);
}

void ObjectTree::mouseReleaseEvent(QMouseEvent* event)
{
    released = event->position().toPoint();
    QTreeWidget::mouseReleaseEvent(event);
}

void ObjectTree::noteClick(const QModelIndex& index)
{
    if (released.x() >= visualRect(index).left())
        emit rowClicked(itemFromIndex(index));
}
