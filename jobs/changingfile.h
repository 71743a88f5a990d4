#pragma once

#include "base/replacefile.h"
#include "base/uniquefd.h"

#include <optional>
#include <string>

namespace jobs {

/// One of several files that change together: its new content is prepared beside it, takes its place at a
/// blow, and the old one can be brought back.
class ChangingFile
{
  public:
    /// `before` is the content to bring back, if there is a file. Only of root's own, the place must be a
    /// directory that nobody else may write to.
    ChangingFile(const std::string& path, std::string before, std::string after, bool rootsOwn);

    /// Writes the new content to the disk, under another name. A file in root's directory is for all to read,
    /// others keep owner and mode or are the group's. False when it cannot be written.
    bool prepare() { return prepare(after_); }
    bool change() { return file_->moveIntoPlace(); }
    void changeBack();

    /// True when the file is what this would make of it.
    bool isUpToDate() const;
    bool exists() const { return old_.has_value(); }

  private:
    bool prepare(const std::string& text);
    bool makeNewer();

    base::UniqueFd directory_;
    std::string name_;
    std::string before_;
    std::string after_;
    bool rootsOwn_;
    std::optional<struct stat> old_;
    std::optional<base::Replacement> file_;
};

} // namespace jobs
