#pragma once

#include <QString>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What a check mark says about an entry.
enum class ObjectState : char {
    None, ///< a special entry that no check from above has reached yet: a click does nothing
    Unchecked,
    Checked,  ///< and the whole subtree with it, loaded or not
    Tristate, ///< some descendants are checked, some are not
    Locked,   ///< a directory that cannot be read; never changes
};

/// The columns of the object tree.
enum ObjectColumn { NameColumn, TypeColumn, SizeColumn, ObjectColumnCount };

/// In which order rows stand.
struct ObjectOrder
{
    int column = NameColumn;
    bool ascending = true;
    bool operator==(const ObjectOrder&) const = default;
};

/// One entry of a directory. All but the name is that of what a link leads to.
struct DirectoryEntry
{
    enum class Kind : unsigned char { Directory, File, Special };
    /// In the order of their words.
    enum class Type : unsigned char { Root, Directory, File, Special, SymbolicLink };

    std::int64_t size = -1; ///< of a file, in bytes; -1 when it cannot be told
    std::uint32_t name = 0; ///< where it begins among the names of the directory
    Kind kind = Kind::Special;
    bool symbolicLink = false;
    bool readable = true; ///< of a directory: whether the caller may list it

    /// What cannot be read shows as what it is, by whatever way it is reached.
    Type type() const;
};

/// The entries of a directory, without "." and "..", as compactly as a million of them demand. Once read it
/// does not change, so that any thread may look.
class DirectoryListing
{
  public:
    /// None when the directory is gone, cannot be read or has become a link. Nothing but the directory is
    /// opened; blocks as long as its file system does.
    static DirectoryListing read(const std::string& path);

    std::uint32_t size() const { return static_cast<std::uint32_t>(entries_.size()); }
    const DirectoryEntry& operator[](std::uint32_t entry) const { return entries_[entry]; }
    /// In the bytes of the file system.
    const char* name(std::uint32_t entry) const { return names_.c_str() + entries_[entry].name; }

    /// The entries in an order, names as the language sorts them. A million of them take seconds.
    std::vector<std::uint32_t> inOrder(ObjectOrder order) const;

  private:
    std::vector<std::uint32_t> byName() const;
    bool comesBefore(const DirectoryEntry& one, const DirectoryEntry& other, int column) const;

    std::vector<DirectoryEntry> entries_;
    std::string names_; ///< each with its end
};

/// A directory that was read, as the tree holds it: with its check marks, in the present order. GUI thread
/// only.
struct LoadedDirectory
{
    std::shared_ptr<const DirectoryListing> listing;
    std::vector<std::uint32_t> order;
    ObjectOrder orderedBy;
    std::vector<ObjectState> states;     ///< by entry
    std::uint32_t shown = 0;             ///< so many of `order` have rows, or had
    std::vector<std::uint32_t> trailing; ///< entries whose rows stand behind those, whatever the order

    bool isWhole() const { return shown == order.size(); }
};

/// Reads a directory and puts it in order: for a thread that may wait.
std::unique_ptr<LoadedDirectory> loadDirectory(const std::string& path, ObjectOrder order);

/// A file's name in one line, told from all others as far as characters allow.
QString shownName(const char* name);
