#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace vardo {

/// The items of a list whose items are divided by any of `dividers`, without the blanks around them; empty
/// ones are dropped.
std::vector<std::string> splitList(std::string_view text, std::string_view dividers);

/// Decides by the ends of file names which files are scanned.
class ExtensionFilter
{
  public:
    enum class Sense {
        All,     ///< every name passes
        Only,    ///< names with a listed extension pass
        Without, ///< names with a listed extension do not pass
    };

    ExtensionFilter() = default;
    /// `list` holds extensions divided by commas, semicolons or blanks; a "*." or "." ahead of one and
    /// the difference of capitals do not count. An empty list lets every name pass.
    ExtensionFilter(Sense sense, std::string_view list);

    bool passes(std::string_view name) const;

  private:
    Sense sense_ = Sense::All;
    std::vector<std::string> extensions_; ///< lower case, with the dot
};

/// Directories that are not entered, whatever path leads to them.
class DirectoryFilter
{
  public:
    /// Adds one directory, which may come into being later. A path that is not absolute is passed over: what
    /// it means would depend on where the program was started.
    void exclude(std::string path);

    /// True when the directory seen at `path`, with the attributes `status`, is one of them.
    bool excludes(std::string_view path, const struct stat& status) const;

  private:
    std::vector<std::string> paths_;
    std::vector<std::pair<dev_t, ino_t>> inodes_;
};

} // namespace vardo
