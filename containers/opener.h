#pragma once

#include "containers/budget.h"
#include "containers/format.h"
#include "containers/memberdata.h"

#include <functional>

namespace containers {

/// Takes a member. The name is empty for what has none, as what a single file was compressed to. False ends
/// the opening.
using TakeMember = std::function<bool(const std::string& name, const MemberData& data)>;

enum class Failure { None, CutShort, Damaged, UnknownMethod, NobodyOpens, NoRoom, NoMemory };

/// How far a container could be opened.
struct Opened
{
    Failure failure = Failure::None;
    std::string_view limit;    ///< that something in it is beyond, by the scanning library's name; or none
    bool encrypted = false;    ///< at least one member
    std::string encryptedName; ///< of a member; empty when unknown
    bool anything = false;     ///< at least one member was taken
};

/// What an opener works with.
struct Workshop
{
    std::string directory; ///< for temporary files
    Budget& budget;
    TakeMember take;
};

/// Opens the container that stands at `container.begin` of `content`, within the budget.
Opened openContainer(const Container& container, Content content, const Workshop& workshop);

/// Whether the scanning library opens this format, mostly: only what it found in one tells whether more is
/// to be opened.
bool isTriedByLibrary(Format format);

/// Whether the scanning library, which looked into so many members with so many bytes, saw all that such a
/// container holds. Members of up to `unseen` bytes it passes over.
bool sawAll(const Container& container, Content content, std::size_t members, std::uint64_t bytes,
            std::uint64_t unseen);

} // namespace containers
