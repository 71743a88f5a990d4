#include "base/systemerror.h"
#include "libvardo/filesystem.h"
#include "libvardo/walker.h"

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>

// What the walk does with a file that it comes to: it opens it, and hands it on.

namespace vardo {

namespace {

constexpr std::size_t mostLinked = 4096; // files with several names that are remembered
constexpr auto leasePause = std::chrono::milliseconds(200);
constexpr int fileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

} // namespace

void Walker::visitFile(const Directory& parent, dev_t device, const std::string& leaf,
                       const std::string& path)
{
    ScanItem item;
    item.fd = openAt(parent->get(), leaf.c_str(), fileFlags);
    if (!item.fd && errno == EWOULDBLOCK) { // a lease, whose holder has just been told to let go
        std::this_thread::sleep_for(leasePause);
        item.fd = openAt(parent->get(), leaf.c_str(), fileFlags);
    }
    struct stat status = {};
    if (!item.fd || !getStatus(item.fd.get(), status)) {
        if (errno != ENOENT)
            fail(path, base::describeError(errno));
        return;
    }
    if (!S_ISREG(status.st_mode))
        return fail(path, "replaced while it was opened");
    // A file can be mounted on by itself.
    if (status.st_dev != device && watch_.run([&item] { return isPseudoFileSystem(item.fd.get()); }))
        return;
    item.key = Remembering::keyOf(remembering_.fileSystemOf(item.fd.get(), status, watch_), status);
    if (remembering_.knows(item.key))
        return pushRemembered(path);
    item.name = path;
    item.parent = parent;
    item.leaf = leaf;
    push(std::move(item), status);
}

/// A file with several names is scanned under the first one alone.
void Walker::push(ScanItem item, const struct stat& status)
{
    item.id = fileId(status);
    const FileId id = item.id;
    const bool manyNames = status.st_nlink > 1;
    if (const auto known = manyNames ? linked_.find(id) : linked_.end(); known != linked_.end()) {
        item.outcome = known->second;
        pipeline_.push(std::move(item));
        return;
    }
    item.key = remembering_.prepare(item.key, item.fd.get(), watch_);
    if (options_.sparesMemory)
        item.unread = UnreadPages(item.fd.get(), status.st_size);
    if (!manyNames) {
        pipeline_.push(std::move(item));
        return;
    }
    if (linkedOrder_.size() == mostLinked) {
        linked_.erase(linkedOrder_.front());
        linkedOrder_.pop_front();
    }
    linkedOrder_.push_back(id);
    linked_[id] = pipeline_.push(std::move(item));
}

void Walker::pushRemembered(const std::string& path)
{
    ScanItem item;
    item.name = path;
    item.outcome = clean_;
    item.remembered = true;
    pipeline_.push(std::move(item));
}

} // namespace vardo
