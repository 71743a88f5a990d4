#pragma once

#include "libvardo/namelist.h"
#include "libvardo/pathfilter.h"
#include "libvardo/scanpipeline.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include <sys/stat.h>

namespace vardo {

/// Which files below the chosen objects are scanned.
struct WalkOptions
{
    bool recurse = true;                  ///< false: only the files right in a chosen directory
    bool followLinks = false;             ///< of links found on the way; a chosen link is always followed
    bool crossFileSystems = false;        ///< false: stay on the file system of each chosen object
    std::optional<unsigned> maxDepth;     ///< levels below a chosen directory that are entered
    std::optional<std::uint64_t> maxSize; ///< larger files are passed over
    bool sparesMemory = false;            ///< what is only read for the scan leaves the memory again
    ExtensionFilter extensions;
    DirectoryFilter directories;
};

/// Walks files and directories, in the order of the names' bytes, and feeds what it finds to a pipeline.
///
/// Every file is opened through the descriptor of its directory, without following links. Special files
/// and pseudo file systems are passed over; what cannot be read becomes an item with an ERROR verdict.
/// The filters on names and sizes do not apply to a chosen file. Runs on one thread.
class Walker
{
  public:
    Walker(ScanPipeline& pipeline, WalkOptions options);

    /// Walks one chosen object. Returns when all below it is in the pipeline, or the pipeline stopped.
    void walk(std::string object);

  private:
    using Directory = std::shared_ptr<const base::UniqueFd>;
    struct Level
    {
        Directory directory; ///< null while many levels deeper, see leave()
        FileId id;
        NameList names;
        std::size_t next = 0;
        std::size_t pathLength = 0; ///< of path_ outside
        bool byLink = false;
    };

    void walkChosen(std::string object);
    void walkLevels();
    void visit(const char* name);
    void visitLink(const char* name, const std::string& path);
    void visitDirectory(const char* name, const std::string& path, bool byLink);
    void enter(base::UniqueFd directory, const struct stat& status, const std::string& path, bool byLink);
    void leave();
    base::Result<base::UniqueFd> reopen(const Level& level, const Directory& child);
    void visitFile(const Directory& parent, const std::string& leaf, const std::string& path);
    void visitTarget(int target, const std::string& link);
    void visitPath(const std::string& path);
    bool firstVisit(const struct stat& status, bool byLink, const std::string& path);
    bool wanted(const std::string& name, const struct stat& status) const;
    bool staysInside(int fd, const struct stat& status) const;
    void push(ScanItem item, const struct stat& status);
    void fail(const std::string& path, const std::string& remark);
    std::string childPath(const char* name) const;
    base::UniqueFd openAt(int directory, const char* name, int flags);

    ScanPipeline& pipeline_;
    const WalkOptions options_;
    std::deque<Level> levels_;
    std::string path_; ///< of the innermost level
    dev_t startDevice_ = 0;
    unsigned pinned_ = 0;                       ///< levels that keep their descriptor for a link
    std::set<std::pair<dev_t, ino_t>> visited_; ///< directories, while links are followed
    std::unordered_map<FileId, std::shared_ptr<ScanOutcome>, FileIdHash> linked_; ///< files with more names
    std::deque<FileId> linkedOrder_; ///< oldest first, to bound linked_
};

} // namespace vardo
