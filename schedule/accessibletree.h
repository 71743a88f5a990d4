#pragma once

#include <QAccessibleWidget>
#include <QPersistentModelIndex>

#include <map>

class ObjectTree;

/// The object tree as assistive programs see it: the rows in view, each with its name, its check mark and
/// whether it is open. GUI thread only.
class AccessibleTree : public QAccessibleWidget
{
  public:
    explicit AccessibleTree(ObjectTree* tree);
    ~AccessibleTree() override;

    int childCount() const override;
    QAccessibleInterface* child(int number) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    int indexOfChild(const QAccessibleInterface* row) const override;
    QAccessibleInterface* focusChild() const override;

    /// That row, in view or not; null for none.
    QAccessibleInterface* rowAt(const QModelIndex& index) const;

  private:
    void forget() const;

    ObjectTree* tree_;
    mutable std::map<QPersistentModelIndex, QAccessible::Id> rows_; ///< those that were asked for
};

/// Lets assistive programs see such trees.
void installAccessibleTree();

/// Tells them that the keyboard is on another row, or that the row's check mark has changed.
void announceRow(ObjectTree& tree, const QModelIndex& index, QAccessible::Event what);
