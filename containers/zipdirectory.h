#pragma once

#include "containers/bytes.h"

#include <set>
#include <string>

namespace containers {

/// What the directory of a zip archive says about the members that the scanning library does not unpack.
/// It unpacks by the methods 0, 6, 8, 9 and 12 what has sizes of 32 bits.
struct ZipDirectory
{
    bool found = false;            ///< the archive has one
    bool whole = false;            ///< all its entries could be read, with sizes of 32 bits
    std::set<std::string> plain;   ///< names of members that the library unpacks
    std::set<std::string> special; ///< names of members that it does not; may be in both

    /// Whether somebody else must open the archive.
    bool needsOther() const { return !whole || !special.empty(); }
    /// Whether the library has unpacked all members of that name.
    bool unpacked(const std::string& name) const
    {
        return whole && plain.contains(name) && !special.contains(name);
    }
};

/// Reads the directory at the end of an archive, which a program may precede.
ZipDirectory readZipDirectory(Content content);

} // namespace containers
