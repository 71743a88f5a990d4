#pragma once

#include "schedule/objectlisting.h"

#include <QTreeWidgetItem>

#include <memory>
#include <string>

/// A row of the object tree: one entry of the file system, with its check mark.
///
/// Entry and mark lie in the directory that the row above has loaded, and the picture follows from them, so
/// that a change costs nothing but a repaint, which is the caller's. A row is drawn, never edited through the
/// view.
class ObjectRow : public QTreeWidgetItem
{
  public:
    using State = ObjectState;

    /// The row of "/", the only one without a parent.
    ObjectRow();
    /// The row of an entry of `parent`, which has loaded it.
    ObjectRow(ObjectRow& parent, std::uint32_t entry);

    State state() const;
    void setState(State state);
    /// Whether the row shows an open directory.
    bool isOpen() const { return open_; }
    void setOpen(bool open) { open_ = open; }
    bool isDirectory() const;
    bool isSymbolicLink() const { return type() == DirectoryEntry::Type::SymbolicLink; }

    std::uint32_t entry() const { return entry_; }
    /// What stands below the row, in rows or not yet; null until it is loaded.
    LoadedDirectory* loaded() const { return loaded_.get(); }
    void setLoaded(std::unique_ptr<LoadedDirectory> loaded) { loaded_ = std::move(loaded); }
    bool isLoading() const { return loading_; }
    void setLoading(bool loading) { loading_ = loading; }
    /// Its place in the present order of its directory.
    void setRank(std::uint32_t rank) { rank_ = rank; }

    /// The path in the bytes of the file system, whatever the names look like on the screen.
    std::string path() const;

    QVariant data(int column, int role) const override;
    bool operator<(const QTreeWidgetItem& other) const override;

  private:
    DirectoryEntry::Type type() const;
    QString cellText(int column) const;

    LoadedDirectory* home_ = nullptr; ///< of the row above
    std::unique_ptr<LoadedDirectory> loaded_;
    std::uint32_t entry_ = 0;
    std::uint32_t rank_ = 0;
    State rootState_ = State::Unchecked;
    bool open_ = false;
    bool loading_ = false;
};

/// Every row of the object tree is an ObjectRow.
inline ObjectRow& rowOf(QTreeWidgetItem* item)
{
    return static_cast<ObjectRow&>(*item);
}
