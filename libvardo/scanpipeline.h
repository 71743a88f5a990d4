#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "libvardo/fileid.h"
#include "libvardo/remembering.h"
#include "libvardo/scansession.h"
#include "libvardo/unreadpages.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace vardo {

/// Opens the session that a scan hands its files to; gives up soon after `goesOn` has become false.
using SessionFactory = std::function<base::Result<std::unique_ptr<ScanSession>>(
    const SessionOptions& options, ScanSession::Handlers handlers, const std::function<bool()>& goesOn)>;

/// What becomes of one file; several items share one when they are links to the same file.
class ScanOutcome
{
  public:
    ScanOutcome() = default;
    /// One that needs no session.
    explicit ScanOutcome(Verdict verdict)
        : done_(true)
        , verdict_(std::move(verdict))
    {
    }

    /// Valid once the item it belongs to came out of the pipeline.
    const Verdict& verdict() const { return verdict_; }

  private:
    friend class ScanPipeline;
    bool done_ = false; // under the pipeline's lock
    Verdict verdict_;
};

/// One step of a walk on its way to the front-end.
struct ScanItem
{
    enum class Kind {
        Directory,  ///< a directory is entered
        NotEntered, ///< a directory that another file system is mounted on
        File,       ///< a file, or something that could not be opened
        MemoryPart, ///< a file or piece of memory that the next Process item uses
        Process,    ///< a process, after all its parts
        LostProcess ///< the same of one that could not be seen to the end; told only when something was found
    };

    Kind kind = Kind::File;
    std::string name;                             ///< as reported: a path, a part, or "PID program"
    std::shared_ptr<const base::UniqueFd> parent; ///< directory that a file was found in
    std::string leaf;                             ///< name in `parent`
    base::UniqueFd fd;                            ///< the opened file; closed early, as `parent`, when clean
    FileId id;                                    ///< the file's state when it was opened
    Remembering::Key key;                         ///< by which it is remembered if it is clean
    bool remembered = false;                      ///< it was clean when it was scanned last
    UnreadPages unread;                           ///< dropped once there is a verdict
    std::uint64_t memory = 0;                     ///< bytes that the item keeps in memory
    std::shared_ptr<ScanOutcome> outcome;         ///< null for directories and processes
};

/// The bounded queue between the thread that walks and the thread that reports. Items come out in the
/// order they went in, each when its verdict is there, while the session works on all of them at once.
class ScanPipeline
{
  public:
    /// At most `window` items inside hold their files open: those without a verdict yet, or with more to do.
    /// So a long file does not make the workers idle that finished what comes behind it. Nothing can be
    /// pushed until open() succeeded.
    explicit ScanPipeline(std::size_t window, Remembering remembering = {});
    ~ScanPipeline();

    /// Walking side: opens the session, which may take long. Call once, before anything is pushed.
    base::Result<bool> open(const SessionFactory& factory, const SessionOptions& options);
    /// Walking side: what is known of files from earlier scans.
    Remembering& remembering() { return remembering_; }

    /// Walking side: appends `item`, and when it has a descriptor but no outcome hands the file to the
    /// session. Waits while the window is full. Returns the item's outcome, null once stopped or lost.
    std::shared_ptr<ScanOutcome> push(ScanItem item);
    /// Walking side: waits until an item has left, to get its descriptors and memory back. False when
    /// there is none inside, or once stopped or lost.
    bool waitForRoom();
    /// Walking side: no more items will come.
    void finish();

    enum class Next { Item, Nothing, End };
    /// Reporting side: takes the next item out when its verdict is there within `patience`. Once the session
    /// is lost, only items that have theirs come out, and then the end.
    Next next(ScanItem& item, std::chrono::milliseconds patience);
    /// Reporting side: abandons everything inside. Both sides return at once from now on.
    void stop();
    /// True once nothing that is pushed matters any more.
    const std::atomic<bool>& stopped() const { return stopped_; }
    /// Ends the session. To be called when nobody pushes any more; what is still inside goes.
    void close();
    /// Why the session was lost; empty while it is not.
    std::string failure();

  private:
    struct Pending
    {
        std::shared_ptr<ScanOutcome> outcome;
        ScanItem* item; ///< in items_ until its outcome is there
    };

    void done(std::uint64_t id, Verdict verdict);
    void lost(std::string why);
    void dropUnfinished();
    bool ended() const { return finished_ && items_.empty(); }
    bool frontIsReady() const;
    bool hasRoom(const ScanItem& item) const;

    const std::size_t window_;
    Remembering remembering_;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    std::condition_variable changed_; // something became ready, or left, or ended
    std::deque<ScanItem> items_;
    std::unordered_map<std::uint64_t, Pending> pending_;
    std::uint64_t lastId_ = 0;
    std::uint64_t taken_ = 0;
    std::size_t open_ = 0;     // items_ that hold their files open
    std::uint64_t memory_ = 0; // of items_
    bool finished_ = false;
    std::string failure_;                  // not empty once the session is lost
    std::unique_ptr<ScanSession> session_; // last: ends before what its handler uses
};

} // namespace vardo
