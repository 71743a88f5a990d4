#include "schedule/objectrow.h"

#include "kit/visibletext.h"

#include <QTreeWidget>

#include <tuple>

namespace {

/// A file's name in one line, told from all others as far as characters allow.
QString shownName(const std::string& name)
{
    constexpr QChar tabPicture(0x2409);
    return visibleText(QString::fromStdString(name)).replace(QLatin1Char('\t'), tabPicture);
}

} // namespace

ObjectRow::ObjectRow(const QCollator& collator)
    : name_("/")
    , key_(collator.sortKey(QStringLiteral("/")))
{
}

ObjectRow::ObjectRow(DirectoryEntry entry, const QCollator& collator)
    : name_(std::move(entry.name))
    , key_(collator.sortKey(shownName(name_)))
    , size_(entry.size)
    , type_(typeOf(entry))
    , directory_(entry.kind == DirectoryEntry::Kind::Directory)
{
    if (entry.kind == DirectoryEntry::Kind::Special)
        state_ = State::None;
    else if (directory_ && !entry.readable)
        state_ = State::Locked;
    if (directory_ && entry.readable)
        setChildIndicatorPolicy(ShowIndicator);
    else
        setFlags(flags() | Qt::ItemNeverHasChildren);
}

ObjectRow::Type ObjectRow::typeOf(const DirectoryEntry& entry)
{
    switch (entry.kind) {
    case DirectoryEntry::Kind::Directory:
        // What cannot be read shows as what it is, by whatever way it is reached.
        return entry.symbolicLink && entry.readable ? Type::SymbolicLink : Type::Directory;
    case DirectoryEntry::Kind::File:
        return entry.symbolicLink ? Type::SymbolicLink : Type::File;
    default:
        return Type::Special;
    }
}

int ObjectRow::depth() const
{
    int depth = 0;
    for (const QTreeWidgetItem* row = parent(); row; row = row->parent())
        ++depth;
    return depth;
}

std::string ObjectRow::path() const
{
    if (!parent())
        return name_;
    std::string path = rowOf(parent()).path();
    if (path.back() != '/')
        path += '/';
    return path += name_;
}

bool ObjectRow::comesBefore(const ObjectRow& other, int column) const
{
    switch (column) {
    case TypeColumn:
        return type_ < other.type_;
    case SizeColumn:
        // Directories have no size, and what shows a letter there comes last.
        return std::tuple(type_ == Type::Special, size_) <
               std::tuple(other.type_ == Type::Special, other.size_);
    default: {
        const int order = key_.compare(other.key_);
        return order != 0 ? order < 0 : name_ < other.name_;
    }
    }
}

bool ObjectRow::operator<(const QTreeWidgetItem& other) const
{
    return comesBefore(static_cast<const ObjectRow&>(other), treeWidget()->sortColumn());
}

QString ObjectRow::cellText(int column) const
{
    static constexpr QLatin1StringView types[] = {QLatin1StringView(""), QLatin1StringView("Directory"),
                                                  QLatin1StringView("File"), QLatin1StringView("Special"),
                                                  QLatin1StringView("Symbolic Link")};
    switch (column) {
    case NameColumn:
        return shownName(name_);
    case TypeColumn:
        return types[static_cast<std::size_t>(type_)];
    default:
        // A special entry has always shown its letter for a file where others have their size.
        if (type_ == Type::Special)
            return QStringLiteral("F");
        return directory_ || size_ < 0 ? QString() : QString::number(size_);
    }
}

QVariant ObjectRow::data(int column, int role) const
{
    if (role == Qt::DisplayRole)
        return cellText(column);
    if (role == Qt::DecorationRole)
        return column == NameColumn ? QVariant(picture_) : QVariant();
    return QTreeWidgetItem::data(column, role);
}
