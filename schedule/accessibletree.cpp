#include "schedule/accessibletree.h"

#include "schedule/objecttree.h"

#include <QPointer>

#include <algorithm>

namespace {

constexpr std::size_t mostRows = 500;

QList<QModelIndex> rowsInView(const ObjectTree& tree)
{
    QList<QModelIndex> rows;
    const int bottom = tree.viewport()->height();
    for (QModelIndex row = tree.indexAt({1, 1}); row.isValid() && tree.visualRect(row).top() < bottom;
         row = tree.indexBelow(row))
        rows << row.siblingAtColumn(0);
    return rows;
}

class AccessibleRow : public QAccessibleInterface, public QAccessibleActionInterface
{
  public:
    AccessibleRow(ObjectTree* tree, const QModelIndex& index)
        : tree_(tree)
        , index_(index)
    {
    }

    bool isValid() const override { return tree_ && index_.isValid(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(tree_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    void setText(QAccessible::Text, const QString&) override {}
    QAccessible::Role role() const override { return QAccessible::TreeItem; }
    QString text(QAccessible::Text kind) const override;
    QRect rect() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    QStringList actionNames() const override { return {toggleAction(), pressAction()}; }
    void doAction(const QString& name) override;
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    QModelIndex index() const { return index_; }

  private:
    ObjectRow& row() const { return rowOf(tree_->itemFromIndex(index_)); }

    QPointer<ObjectTree> tree_;
    QPersistentModelIndex index_;
};

QString AccessibleRow::text(QAccessible::Text kind) const
{
    if (!isValid() || (kind != QAccessible::Name && kind != QAccessible::Description))
        return {};
    if (kind == QAccessible::Name)
        return index_.data().toString();
    const QString type = index().siblingAtColumn(TypeColumn).data().toString();
    return (type + u' ' + index().siblingAtColumn(SizeColumn).data().toString()).trimmed();
}

QRect AccessibleRow::rect() const
{
    return isValid() ? tree_->visualRect(index_).translated(tree_->viewport()->mapToGlobal(QPoint()))
                     : QRect();
}

QAccessible::State AccessibleRow::state() const
{
    QAccessible::State state;
    state.invalid = !isValid();
    if (state.invalid)
        return state;
    const ObjectRow::State mark = row().state();
    state.focusable = state.selectable = true;
    state.focused = tree_->hasFocus() && tree_->currentIndex().siblingAtColumn(0) == index_;
    state.selected = tree_->selectionModel()->isSelected(index_);
    state.offscreen = !tree_->viewport()->rect().intersects(tree_->visualRect(index_));
    state.checkable = mark != ObjectRow::State::None && mark != ObjectRow::State::Locked;
    state.checked = mark == ObjectRow::State::Checked;
    state.checkStateMixed = mark == ObjectRow::State::Tristate;
    state.disabled = mark == ObjectRow::State::Locked;
    state.expandable = tree_->model()->hasChildren(index_);
    state.expanded = tree_->isExpanded(index_);
    state.collapsed = state.expandable && !state.expanded;
    return state;
}

void AccessibleRow::doAction(const QString& name)
{
    if (isValid() && name == toggleAction())
        emit tree_->rowClicked(tree_->itemFromIndex(index_));
    else if (isValid() && name == pressAction())
        tree_->setExpanded(index_, !tree_->isExpanded(index_));
}

QAccessibleInterface* make(const QString&, QObject* object)
{
    auto* tree = qobject_cast<ObjectTree*>(object);
    return tree ? new AccessibleTree(tree) : nullptr;
}

} // namespace

AccessibleTree::AccessibleTree(ObjectTree* tree)
    : QAccessibleWidget(tree, QAccessible::Tree)
    , tree_(tree)
{
}

AccessibleTree::~AccessibleTree()
{
    for (const auto& [index, id] : rows_)
        QAccessible::deleteAccessibleInterface(id);
}

QAccessibleInterface* AccessibleTree::rowAt(const QModelIndex& index) const
{
    const QPersistentModelIndex row = index.siblingAtColumn(0);
    if (!row.isValid())
        return nullptr;
    if (const auto known = rows_.find(row); known != rows_.end())
        return QAccessible::accessibleInterface(known->second);
    if (rows_.size() > mostRows)
        forget();
    auto* made = new AccessibleRow(tree_, row);
    rows_.emplace(row, QAccessible::registerAccessibleInterface(made));
    return made;
}

/// Persistent indexes cost with each change of the tree, so that those of rows out of view go.
void AccessibleTree::forget() const
{
    const QList<QModelIndex> shown = rowsInView(*tree_);
    std::erase_if(rows_, [&](const auto& entry) {
        const bool gone = !shown.contains(QModelIndex(entry.first));
        if (gone)
            QAccessible::deleteAccessibleInterface(entry.second);
        return gone;
    });
}

int AccessibleTree::childCount() const
{
    return static_cast<int>(rowsInView(*tree_).size());
}

QAccessibleInterface* AccessibleTree::child(int number) const
{
    return rowAt(rowsInView(*tree_).value(number));
}

QAccessibleInterface* AccessibleTree::childAt(int x, int y) const
{
    return rowAt(tree_->indexAt(tree_->viewport()->mapFromGlobal(QPoint(x, y))));
}

int AccessibleTree::indexOfChild(const QAccessibleInterface* row) const
{
    const auto* known = dynamic_cast<const AccessibleRow*>(row);
    return known ? static_cast<int>(rowsInView(*tree_).indexOf(known->index())) : -1;
}

QAccessibleInterface* AccessibleTree::focusChild() const
{
    return tree_->hasFocus() ? rowAt(tree_->currentIndex()) : nullptr;
}

void installAccessibleTree()
{
    QAccessible::installFactory(&make); // once; further calls change nothing
}

void announceRow(ObjectTree& tree, const QModelIndex& index, QAccessible::Event what)
{
    if (!QAccessible::isActive())
        return;
    auto* known = static_cast<AccessibleTree*>(QAccessible::queryAccessibleInterface(&tree));
    QAccessibleInterface* row = known->rowAt(index);
    if (!row)
        return;
    QAccessible::State changed;
    changed.checked = changed.checkStateMixed = true;
    if (what == QAccessible::StateChanged) {
        QAccessibleStateChangeEvent event(row, changed);
        QAccessible::updateAccessibility(&event);
    } else {
        QAccessibleEvent event(row, what);
        QAccessible::updateAccessibility(&event);
    }
}
