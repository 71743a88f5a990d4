#include "schedule/objectlisting.h"

#include "base/uniquefd.h"
#include "kit/visibletext.h"

#include <QCollator>

#include <algorithm>
#include <numeric>
#include <queue>
#include <string_view>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Keys for the language's order cost many times their names, so that no more than these are held at once.
constexpr std::size_t chunkSize = 32'768;

struct CloseDirectory
{
    void operator()(DIR* stream) const { ::closedir(stream); }
};

DirectoryEntry::Kind kindOf(unsigned char type)
{
    if (type == DT_DIR)
        return DirectoryEntry::Kind::Directory;
    return type == DT_REG ? DirectoryEntry::Kind::File : DirectoryEntry::Kind::Special;
}

DirectoryEntry describe(int directory, const dirent& found)
{
    DirectoryEntry entry;
    unsigned char type = found.d_type;
    struct stat status
    {
    };
    // Some file systems leave it to this call to tell the type.
    if (type == DT_UNKNOWN && ::fstatat(directory, found.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
        type = static_cast<unsigned char>(IFTODT(status.st_mode));
    entry.symbolicLink = type == DT_LNK;
    if ((type == DT_LNK || type == DT_REG) && ::fstatat(directory, found.d_name, &status, 0) == 0) {
        type = static_cast<unsigned char>(IFTODT(status.st_mode));
        entry.size = status.st_size;
    }
    entry.kind = kindOf(type);
    if (entry.kind == DirectoryEntry::Kind::Directory)
        entry.readable = ::faccessat(directory, found.d_name, R_OK, 0) == 0;
    return entry;
}

/// An entry with the key of its name, which goes by bytes where the language sees no difference.
struct KeyedEntry
{
    QCollatorSortKey key;
    std::string_view name;
    std::uint32_t entry;

    bool operator<(const KeyedEntry& other) const
    {
        const int order = key.compare(other.key);
        return order != 0 ? order < 0 : name < other.name;
    }
};

/// What is left of a chunk that is in order, by its first.
struct ChunkHead
{
    KeyedEntry first;
    std::size_t next, end;

    bool operator<(const ChunkHead& other) const { return other.first < first; } // the least on top
};

ObjectState stateAtFirst(const DirectoryEntry& entry)
{
    if (entry.kind == DirectoryEntry::Kind::Special)
        return ObjectState::None;
    const bool locked = entry.kind == DirectoryEntry::Kind::Directory && !entry.readable;
    return locked ? ObjectState::Locked : ObjectState::Unchecked;
}

} // namespace

DirectoryEntry::Type DirectoryEntry::type() const
{
    if (kind == Kind::Special)
        return Type::Special;
    if (symbolicLink && readable)
        return Type::SymbolicLink;
    return kind == Kind::Directory ? Type::Directory : Type::File;
}

DirectoryListing DirectoryListing::read(const std::string& path)
{
    DirectoryListing listing;
    base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseDirectory> stream(fd ? ::fdopendir(fd.get()) : nullptr);
    if (!stream)
        return listing;
    const int directory = fd.release(); // the stream's now
    constexpr std::size_t mostNames = UINT32_MAX - NAME_MAX - 1;
    while (const dirent* found = ::readdir(stream.get())) {
        const std::string_view name = found->d_name;
        if (name == "." || name == ".." || listing.names_.size() > mostNames)
            continue;
        DirectoryEntry& entry = listing.entries_.emplace_back(describe(directory, *found));
        entry.name = static_cast<std::uint32_t>(listing.names_.size());
        listing.names_.append(name).push_back('\0');
    }
    return listing;
}

bool DirectoryListing::comesBefore(const DirectoryEntry& one, const DirectoryEntry& other, int column) const
{
    if (column == TypeColumn)
        return one.type() < other.type();
    // Directories have no size, and what shows a letter there comes last.
    const auto rank = [](const DirectoryEntry& entry) {
        const bool special = entry.kind == DirectoryEntry::Kind::Special;
        return std::tuple(special, entry.kind == DirectoryEntry::Kind::File ? entry.size : -1);
    };
    return rank(one) < rank(other);
}

std::vector<std::uint32_t> DirectoryListing::inOrder(ObjectOrder order) const
{
    std::vector<std::uint32_t> sorted = byName();
    if (order.column != NameColumn)
        std::ranges::stable_sort(sorted, [&](std::uint32_t one, std::uint32_t other) {
            return comesBefore(entries_[one], entries_[other], order.column);
        });
    if (!order.ascending)
        std::ranges::reverse(sorted);
    return sorted;
}

/// In chunks that are merged, of which only the first entries have keys then.
std::vector<std::uint32_t> DirectoryListing::byName() const
{
    const QCollator collator;
    const auto keyed = [&](std::uint32_t entry) {
        return KeyedEntry{collator.sortKey(shownName(name(entry))), name(entry), entry};
    };
    std::vector<std::uint32_t> chunks(size());
    std::priority_queue<ChunkHead> heads;
    for (std::size_t start = 0; start < chunks.size(); start += chunkSize) {
        const std::size_t end = std::min(start + chunkSize, chunks.size());
        std::vector<KeyedEntry> chunk;
        for (std::size_t entry = start; entry < end; ++entry)
            chunk.push_back(keyed(static_cast<std::uint32_t>(entry)));
        std::ranges::sort(chunk, std::less());
        std::ranges::transform(chunk, chunks.begin() + static_cast<std::ptrdiff_t>(start),
                               &KeyedEntry::entry);
        heads.push({std::move(chunk.front()), start + 1, end});
    }
    std::vector<std::uint32_t> sorted;
    sorted.reserve(chunks.size());
    while (!heads.empty()) {
        ChunkHead head = heads.top();
        heads.pop();
        sorted.push_back(head.first.entry);
        if (head.next < head.end)
            heads.push({keyed(chunks[head.next]), head.next + 1, head.end});
    }
    return sorted;
}

std::unique_ptr<LoadedDirectory> loadDirectory(const std::string& path, ObjectOrder order)
{
    auto loaded = std::make_unique<LoadedDirectory>();
    auto listing = std::make_shared<const DirectoryListing>(DirectoryListing::read(path));
    loaded->order = listing->inOrder(order);
    loaded->orderedBy = order;
    loaded->states.reserve(listing->size());
    for (std::uint32_t entry = 0; entry < listing->size(); ++entry)
        loaded->states.push_back(stateAtFirst((*listing)[entry]));
    loaded->listing = std::move(listing);
    return loaded;
}

QString shownName(const char* name)
{
    constexpr QChar tabPicture(0x2409);
    return visibleText(QString::fromUtf8(name)).replace(QLatin1Char('\t'), tabPicture);
}
