#pragma once

#include "schedule/directorylisting.h"

#include <QCollator>
#include <QIcon>
#include <QTreeWidgetItem>

#include <cstdint>
#include <string>

/// A row of the object tree: one entry of the file system, with its check mark.
///
/// The state lies in the row itself and is shown by a picture, so that a change costs nothing but a repaint,
/// which is the caller's. A row is drawn and compared, never edited through the view.
class ObjectRow : public QTreeWidgetItem
{
  public:
    enum Column { NameColumn, TypeColumn, SizeColumn, ColumnCount };

    enum class State : char {
        None, ///< a special entry that no check from above has reached yet: a click does nothing
        Unchecked,
        Checked,  ///< and the whole subtree with it, loaded or not
        Tristate, ///< some descendants are checked, some are not
        Locked,   ///< a directory that cannot be read; never changes
    };

    /// The row of "/", the only one without a parent.
    explicit ObjectRow(const QCollator& collator);
    /// A row below another, unchecked; what state it begins in otherwise is told at State.
    ObjectRow(DirectoryEntry entry, const QCollator& collator);

    State state() const { return state_; }
    void setState(State state) { state_ = state; }
    /// Whether the row shows an open directory.
    bool isOpen() const { return open_; }
    void setOpen(bool open) { open_ = open; }
    bool isDirectory() const { return directory_; }
    bool isSymbolicLink() const { return type_ == Type::SymbolicLink; }

    void setPicture(const QIcon& picture) { picture_ = picture; }

    /// How many rows lie above: 0 for "/".
    int depth() const;
    /// The path in the bytes of the file system, whatever the names look like on the screen.
    std::string path() const;

    /// The order of two rows under the header of `column`: names as the language sorts them.
    bool comesBefore(const ObjectRow& other, int column) const;

    QVariant data(int column, int role) const override;
    bool operator<(const QTreeWidgetItem& other) const override;

  private:
    /// In the order of their words.
    enum class Type : char { Root, Directory, File, Special, SymbolicLink };
    static Type typeOf(const DirectoryEntry& entry);
    QString cellText(int column) const;

    std::string name_;
    QCollatorSortKey key_;
    std::int64_t size_ = -1;
    QIcon picture_;
    Type type_ = Type::Root;
    State state_ = State::Unchecked;
    bool directory_ = true;
    bool open_ = false;
};

/// Every row of the object tree is an ObjectRow.
inline ObjectRow& rowOf(QTreeWidgetItem* item)
{
    return static_cast<ObjectRow&>(*item);
}
