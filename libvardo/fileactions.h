#pragma once

#include "base/result.h"
#include "libvardo/fileid.h"

#include <functional>
#include <string>

namespace vardo {

/// A file that was scanned and is still open. Acting on it acts on this file or on nothing: when its
/// name leads to another file by now, or the file was written to, the action fails and changes nothing.
/// Links are never followed.
struct ScannedFile
{
    int parent;       ///< directory that it was found in
    std::string leaf; ///< its name there
    int fd;           ///< open for reading
    FileId id;        ///< its state when it was scanned
};

/// Fails when `file` is not what was scanned any more.
base::Result<FileId> verifyUnchanged(const ScannedFile& file);

/// Removes the file, like quarantine::removeChecked.
base::Result<std::string> deleteFile(const ScannedFile& file);

/// Gives the file the first free name of "NAME.EXTENSION", "NAME-0.EXTENSION", "NAME-1.EXTENSION" … in
/// its directory. The result is the new name.
base::Result<std::string> renameFile(const ScannedFile& file, const std::string& extension);

/// Moves the file, like quarantine::moveNoReplace, and if it turns out that another file took its name at
/// the last moment, moves that back, like quarantine::moveBack.
base::Result<bool> moveScanned(const ScannedFile& file, int directory, const std::string& name);

/// Calls `take` with the names of a series that are free in `directory`, until it does not fail with EEXIST:
/// "STEM" + `end`, "STEM-0" + `end` and so on, as quarantine::seriesName() gives them. The result is the name
/// taken. In a series of more than a thousand it need not be the first that is free.
base::Result<std::string>
takeFirstFree(int directory, const std::string& stem, const std::string& end,
              const std::function<base::Result<bool>(const std::string& name)>& take);

} // namespace vardo
