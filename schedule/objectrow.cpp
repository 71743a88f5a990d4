#include "schedule/objectrow.h"

#include "schedule/objecttree.h"

ObjectRow::ObjectRow() = default;

ObjectRow::ObjectRow(ObjectRow& parent, std::uint32_t entry)
    : home_(parent.loaded())
    , entry_(entry)
{
    const DirectoryEntry& described = (*home_->listing)[entry];
    if (described.kind == DirectoryEntry::Kind::Directory && described.readable)
        setChildIndicatorPolicy(ShowIndicator);
    else
        setFlags(flags() | Qt::ItemNeverHasChildren);
}

ObjectState ObjectRow::state() const
{
    return home_ ? home_->states[entry_] : rootState_;
}

void ObjectRow::setState(State state)
{
    (home_ ? home_->states[entry_] : rootState_) = state;
}

bool ObjectRow::isDirectory() const
{
    return !home_ || (*home_->listing)[entry_].kind == DirectoryEntry::Kind::Directory;
}

DirectoryEntry::Type ObjectRow::type() const
{
    return home_ ? (*home_->listing)[entry_].type() : DirectoryEntry::Type::Root;
}

std::string ObjectRow::path() const
{
    if (!home_)
        return "/";
    std::string path = rowOf(parent()).path();
    if (path.back() != '/')
        path += '/';
    return path += home_->listing->name(entry_);
}

bool ObjectRow::operator<(const QTreeWidgetItem& other) const
{
    return rank_ < static_cast<const ObjectRow&>(other).rank_;
}

QString ObjectRow::cellText(int column) const
{
    static constexpr QLatin1StringView types[] = {QLatin1StringView(""), QLatin1StringView("Directory"),
                                                  QLatin1StringView("File"), QLatin1StringView("Special"),
                                                  QLatin1StringView("Symbolic Link")};
    switch (column) {
    case NameColumn:
        return shownName(home_ ? home_->listing->name(entry_) : "/");
    case TypeColumn:
        return types[static_cast<std::size_t>(type())];
    default: {
        // A special entry has always shown its letter for a file where others have their size.
        if (type() == DirectoryEntry::Type::Special)
            return QStringLiteral("F");
        const std::int64_t size = isDirectory() ? -1 : (*home_->listing)[entry_].size;
        return size < 0 ? QString() : QString::number(size);
    }
    }
}

QVariant ObjectRow::data(int column, int role) const
{
    if (role == Qt::DisplayRole)
        return cellText(column);
    if (role != Qt::DecorationRole)
        return QTreeWidgetItem::data(column, role);
    const auto* tree = static_cast<const ObjectTree*>(treeWidget());
    return column == NameColumn && tree ? QVariant(tree->pictureOf(*this)) : QVariant();
}
