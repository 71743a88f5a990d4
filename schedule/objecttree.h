#pragma once

#include "schedule/background.h"
#include "schedule/objectrow.h"

#include <QIcon>
#include <QMouseEvent>
#include <QPoint>
#include <QSize>
#include <QTreeWidget>

#include <functional>
#include <map>

/// The list view of the object selection: rows sort under the header that was clicked, and a click beside a
/// row's picture and text is none.
///
/// Directories are read and put in order on other threads. Of a large one only some rows are made at first,
/// and more as the user comes to their end: what is not yet in a row has its mark all the same.
class ObjectTree : public QTreeWidget
{
    Q_OBJECT

  public:
    /// The size of the rows' pictures: a check box and what the row stands for.
    static constexpr QSize pictureSize{47, 26};
    using Pictures = std::function<const QIcon&(const ObjectRow&)>;

    ObjectTree(QWidget* parent, const char* name);

    /// What rows show beside their names.
    void setPictures(Pictures pictures) { pictures_ = std::move(pictures); }
    const QIcon& pictureOf(const ObjectRow& row) const { return pictures_(row); }

    /// Starts anew with the row of "/", opened.
    void start();
    /// Reads the directory of a row that has none; its entries take over a check mark that is on by then.
    void load(ObjectRow& row);

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
    ObjectOrder presentOrder() const;
    void takeLoaded(quint64 ticket, std::shared_ptr<LoadedDirectory> loaded);
    void showMore(ObjectRow& row);
    void showMoreInView();
    /// A directory's new order, by the number of the work.
    struct Sorted
    {
        quint64 ticket;
        std::shared_ptr<const DirectoryListing> listing;
        std::vector<std::uint32_t> order;
    };
    void sortAll();
    void sort(const std::vector<ObjectRow*>& rows);
    void takeOrder(Sorted& sorted, ObjectOrder order);
    void remake(ObjectRow& row);
    void openAgain(ObjectRow& row);

    Pictures pictures_;
    QPoint released; ///< Where a mouse button went up last.
    Background background_{this};
    std::map<quint64, ObjectRow*> waiting_; ///< rows that somebody works for, by the work's number
    quint64 tickets_ = 0;
};
