#pragma once

#include "libvardo/callwatch.h"
#include "libvardo/closeddirectories.h"
#include "libvardo/namelist.h"
#include "libvardo/pathfilter.h"
#include "libvardo/scanpipeline.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
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
    ClosedDirectories closed;
};

/// Walks files and directories, in the order of the names' bytes, and feeds what it finds to a pipeline.
///
/// Every file is opened through the descriptor of its directory, without following links. Special files
/// and pseudo file systems are passed over; what cannot be read becomes an item with an ERROR verdict.
/// The filters on names and sizes do not apply to a chosen file. File systems are told apart by their mounts,
/// at directories alone.
///
/// Runs on one thread at a time. One that was given up in a call leaves everything as goOn() needs it.
class Walker
{
  public:
    /// All calls that may block are made through `watch`.
    Walker(ScanPipeline& pipeline, CallWatch& watch, WalkOptions options);

    /// Walks one chosen object. Returns when all below it is in the pipeline, or the pipeline stopped.
    void walk(std::string object);

    /// Goes on with the present object for a thread that was given up in a call, after telling `remark` of
    /// what that call was about. A directory in which this happens again is left.
    void goOn(const std::string& remark);

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
        std::optional<cleanstore::FileSystem> fileSystem; ///< of its files; none when nothing is remembered
        unsigned stuck = 0;                               ///< how often a thread was given up in it
    };
    enum class Reached { ByName, ByLink };

    void walkChosen(std::string object);
    void walkLevels();
    void visit(const char* name);
    void visitLink(const Directory& directory, const char* name, const std::string& path);
    void visitDirectory(const char* name, const std::string& path, bool byLink);
    void enter(base::UniqueFd directory, const struct stat& status, const std::string& path, bool byLink);
    void leave();
    base::Result<base::UniqueFd> reopen(const Level& level, const Directory& child);
    void visitFile(const Directory& parent, dev_t device, const std::string& leaf, const std::string& path);
    void visitTarget(int target, const struct stat& status, const std::string& link, Reached how);
    void visitPath(const std::string& path, Reached how);
    bool isFirst(const struct stat& directory, const std::string& leaf);
    bool firstVisit(const struct stat& status, bool byLink, const std::string& path);
    bool wanted(const std::string& name, const struct stat& status) const;
    bool goesDeeper() const;
    bool staysInside(int directory, const struct stat& status, const std::string& path);
    bool isClosed(int directory);
    bool getStatus(int fd, struct stat& status);
    void push(ScanItem item, const struct stat& status);
    void pushRemembered(const std::string& path);
    void fail(const std::string& path, const std::string& remark);
    std::string childPath(const char* name) const;
    base::UniqueFd openAt(int directory, const char* name, int flags);

    ScanPipeline& pipeline_;
    CallWatch& watch_;
    Remembering& remembering_;
    const std::shared_ptr<ScanOutcome> clean_;
    const WalkOptions options_;
    std::deque<Level> levels_;
    std::string path_;    ///< of the innermost level
    std::string present_; ///< what the next call is about
    std::uint64_t startMount_ = 0;
    unsigned pinned_ = 0;                       ///< levels that keep their descriptor for a link
    std::set<std::pair<dev_t, ino_t>> visited_; ///< directories, while links are followed
    /// Files reached by links before their directories were, if they ever are: those and the names there.
    std::set<std::tuple<dev_t, ino_t, std::string>> reached_;
    std::unordered_map<FileId, std::shared_ptr<ScanOutcome>, FileIdHash> linked_; ///< files with more names
    std::deque<FileId> linkedOrder_; ///< oldest first, to bound linked_
};

} // namespace vardo
