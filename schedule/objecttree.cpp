#include "schedule/objecttree.h"

#include "kit/palettes.h"
#include "schedule/accessibletree.h"

#include <QHeaderView>
#include <QKeyEvent>

#include <algorithm>

ObjectTree::ObjectTree(QWidget* parent, const char* name)
    : QTreeWidget(parent)
{
    installAccessibleTree();
    setObjectName(QLatin1StringView(name));
    setPalette(contentPalette());
    setColumnCount(ObjectRow::ColumnCount);
    setIconSize(pictureSize);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setRootIsDecorated(true);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    header()->setStretchLastSection(true);
    // Sorting is not left to the view, which would then take new rows in one by one.
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    header()->setSortIndicator(ObjectRow::NameColumn, Qt::AscendingOrder);
    connect(header(), &QHeaderView::sortIndicatorChanged, this, &QTreeWidget::sortItems);
    connect(this, &QTreeWidget::clicked, this, &ObjectTree::noteClick);
}

void ObjectTree::addRows(ObjectRow& parent, QList<QTreeWidgetItem*> rows)
{
    const int column = header()->sortIndicatorSection();
    const bool ascending = header()->sortIndicatorOrder() == Qt::AscendingOrder;
    std::sort(rows.begin(), rows.end(), [=](QTreeWidgetItem* one, QTreeWidgetItem* two) {
        return ascending ? rowOf(one).comesBefore(rowOf(two), column)
                         : rowOf(two).comesBefore(rowOf(one), column);
    });
    parent.addChildren(rows);
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
