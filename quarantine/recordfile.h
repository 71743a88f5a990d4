#pragma once

#include "base/uniquefd.h"
#include "quarantine/record.h"

#include <functional>
#include <optional>
#include <string>

namespace quarantine {

/// The record file, locked against all other writers while this lives; so hold it briefly, and one at a
/// time. Members of a group may write in its directory: no link is followed, and only a plain file of one
/// name is opened. The lock is that of the quarantine directory, which nobody but members may open, and is
/// waited for three seconds at most, in a whole process as long as it is not had at once. Then work goes on
/// without it: a member could hold it for ever.
class RecordFile
{
  public:
    RecordFile();

    /// Adds a record as a whole or not at all. A file that does not exist is made for the group.
    bool append(const Record& record);

    /// The whole content; nothing if the file cannot be opened or is too large to be ours.
    std::optional<std::string> read() const;

    enum class Need { Reading, Writing };
    enum class Outcome {
        NotOpened,   ///< the record file cannot be opened as needed, or no new one can be made
        NotReplaced, ///< the new one could not be written or moved into place; the old one stays
        Done
    };
    /// The new content in place of an old one.
    using Edit = std::function<std::string(const std::string& content)>;
    /// Told the path of the new file when that exists, still empty, and the record file's at the end.
    using Notice = std::function<void(const char* path)>;

    /// Puts a new record file, writable for everybody, in the place of the old one at a single blow. The old
    /// one must allow what is needed.
    Outcome rewrite(Need need, const Edit& edit, const Notice& notice = {});

    /// Leaves an empty record file, writable for everybody, whatever stood in its place; a directory there
    /// gets another name.
    bool clear();

  private:
    base::UniqueFd createAnew(const char* name);
    bool replaceBy(int file, const std::string& content);

    base::UniqueFd directory_;
    base::UniqueFd lock_;
};

} // namespace quarantine
