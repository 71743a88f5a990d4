#pragma once

#include "schedule/objectrow.h"

#include <QMouseEvent>
#include <QPoint>
#include <QSize>
#include <QTreeWidget>

/// The list view of the object selection: rows sort under the header that was clicked, and a click beside a
/// row's picture and text is none.
class ObjectTree : public QTreeWidget
{
    Q_OBJECT

  public:
    /// The size of the rows' pictures: a check box and what the row stands for.
    static constexpr QSize pictureSize{47, 26};

    ObjectTree(QWidget* parent, const char* name);

    /// Adds `rows` below `parent`, which has none, at their places in the present order. At once, so that a
    /// directory of 100,000 entries opens without delay.
    void addRows(ObjectRow& parent, QList<QTreeWidgetItem*> rows);

  signals:
    /// A click with the left button on the picture, the name or the cells behind it.
    void rowClicked(QTreeWidgetItem* item);
    void spacePressed(QTreeWidgetItem* item);

  protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    void noteClick(const QModelIndex& index);

    QPoint released; ///< Where a mouse button went up last.
};
