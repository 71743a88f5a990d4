#include "libvardo/processwalker.h"

#include "base/systemerror.h"
#include "engine/interface.h"
#include "libvardo/namelist.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::uint64_t pieceSize = 16 << 20;    // of memory, scanned at a time
constexpr std::uint64_t pieceOverlap = 64 << 10; // so that nothing hides on a border
constexpr std::size_t copyBuffer = 256 << 10;
constexpr std::uint64_t mostOfMapping = 128 << 20; // of memory without a file
constexpr std::uint64_t mostOfProcess = 512 << 20;
constexpr std::size_t mostFiles = 65'536; // whose verdicts are remembered

std::string linkTarget(int directory, const char* name)
{
    std::string target(PATH_MAX, '\0');
    const ssize_t length = ::readlinkat(directory, name, target.data(), target.size());
    target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return target;
}

/// Copies up to `length` bytes at `start`, as far as they can be read, into a file in memory.
base::Result<base::UniqueFd> copyMemory(int memory, std::uint64_t start, std::uint64_t length)
{
    base::UniqueFd copy(::memfd_create("memory", MFD_CLOEXEC));
    if (!copy)
        return base::systemError();
    std::vector<char> buffer(copyBuffer);
    for (std::uint64_t done = 0; done < length;) {
        const std::size_t wanted = std::min<std::uint64_t>(buffer.size(), length - done);
        const ssize_t size = ::pread(memory, buffer.data(), wanted, static_cast<off_t>(start + done));
        if (size <= 0 && done == 0)
            return base::systemError(size == 0 ? ESRCH : errno);
        if (size <= 0)
            break;
        if (::pwrite(copy.get(), buffer.data(), static_cast<std::size_t>(size), static_cast<off_t>(done)) !=
            size)
            return base::systemError();
        done += static_cast<std::uint64_t>(size);
    }
    return copy;
}

/// Opens the file behind `link` (a link of the kernel's in /proc) for reading; never a device, whose
/// mere opening may have effects.
base::UniqueFd openRegular(int directory, const std::string& link, struct stat& status)
{
    const base::UniqueFd looked(::openat(directory, link.c_str(), O_PATH | O_CLOEXEC));
    if (!looked || ::fstat(looked.get(), &status) != 0)
        return {};
    if (!S_ISREG(status.st_mode)) {
        errno = ENOENT;
        return {};
    }
    const std::string path = "/proc/self/fd/" + std::to_string(looked.get());
    return base::UniqueFd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/// A process that has ended, or that has closed itself to us, as the workers of the service do.
bool isClosed(int process)
{
    return linkTarget(process, "exe").empty();
}

/// A process that ended meanwhile, or a mapping that it gave back.
bool isGone(int code)
{
    return code == ENOENT || code == ESRCH || code == EIO;
}

} // namespace

ProcessWalker::ProcessWalker(ScanPipeline& pipeline, CallWatch& watch, bool all)
    : pipeline_(pipeline)
    , watch_(watch)
    , remembering_(pipeline.remembering())
    , clean_(std::make_shared<ScanOutcome>(Verdict{SCANSTAT_CLEAN, {}, {}, {}}))
    , all_(all)
{
}

void ProcessWalker::walk()
{
    listProcesses();
    walkProcesses();
}

void ProcessWalker::goOn(const std::string& remark)
{
    fail(present_, remark);
    ScanItem item;
    item.kind = ScanItem::Kind::Process;
    item.name = present_;
    pipeline_.push(std::move(item));
    walkProcesses();
}

void ProcessWalker::listProcesses()
{
    present_ = "/proc";
    base::UniqueFd proc(::open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const base::Result<NameList> names = NameList::read(std::move(proc), pipeline_.stopped(), watch_);
    if (!names)
        return fail("/proc", names.error().text);
    for (std::size_t i = 0; i < names.value().size(); ++i) {
        const char* name = names.value()[i];
        const char* end = name + std::strlen(name);
        pid_t pid = 0;
        if (std::from_chars(name, end, pid).ptr == end && pid > 0)
            processes_.push_back(pid);
    }
    std::sort(processes_.begin(), processes_.end());
}

void ProcessWalker::walkProcesses()
{
    while (next_ < processes_.size() && !pipeline_.stopped()) {
        const pid_t pid = processes_[next_++];
        // The directory stays that of this process even when its number is given away again.
        const base::UniqueFd directory(::open(("/proc/" + std::to_string(pid)).c_str(),
                                              O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        struct stat status = {};
        if (directory && ::fstat(directory.get(), &status) == 0 && (all_ || status.st_uid == ::geteuid()))
            visit(pid, directory.get());
    }
}

void ProcessWalker::visit(pid_t pid, int directory)
{
    const std::string program = linkTarget(directory, "exe");
    if (program.empty())
        return;
    present_ = std::to_string(pid) + " " + printable(program);
    processBytes_ = 0;
    struct stat status = {};
    if (base::UniqueFd file = openFile(directory, "exe", status))
        pushFile(std::move(file), program);
    const base::Result<std::vector<CodeMapping>> mappings =
        watch_.run([directory] { return readCodeMappings(directory); });
    if (!mappings && !isGone(mappings.error().code) && !isClosed(directory))
        fail(program, mappings.error().text);
    if (mappings) {
        for (const CodeMapping& mapping : mappings.value())
            visitMapping(directory, mapping);
    }
    ScanItem item;
    item.kind = isClosed(directory) ? ScanItem::Kind::LostProcess : ScanItem::Kind::Process;
    item.name = present_;
    pipeline_.push(std::move(item));
}

base::UniqueFd ProcessWalker::openFile(int process, const std::string& link, struct stat& status)
{
    return watch_.run([process, &link, &status] { return openRegular(process, link, status); });
}

/// A mapped file is scanned as a whole when we can get at exactly it, else what is mapped of it. The
/// latter not for other users' processes: their mapping may lie on a file system that never answers.
void ProcessWalker::visitMapping(int process, const CodeMapping& mapping)
{
    if (pipeline_.stopped())
        return;
    if (mapping.inode == 0)
        return pushMemory(process, mapping);
    if (base::UniqueFd file = openMapped(process, mapping))
        return pushFile(std::move(file), mapping.path);
    if (::geteuid() != 0)
        return pushMemory(process, mapping);
    if (!isGone(errno))
        fail(mapping.path, base::describeError(errno));
}

base::UniqueFd ProcessWalker::openMapped(int process, const CodeMapping& mapping)
{
    struct stat status = {};
    if (mayMapFiles_) {
        char name[64];
        std::snprintf(name, sizeof name, "map_files/%llx-%llx",
                      static_cast<unsigned long long>(mapping.start),
                      static_cast<unsigned long long>(mapping.end));
        base::UniqueFd file = openFile(process, name, status);
        if (file || (errno != EPERM && errno != EACCES))
            return file;
        mayMapFiles_ = ::geteuid() == 0;
        if (mayMapFiles_)
            return file;
    }
    // The program itself can be had even where its path leads through folders that are closed to us.
    for (const std::string& link : {std::string("exe"), "root" + mapping.path}) {
        base::UniqueFd file = openFile(process, link, status);
        if (file && status.st_dev == mapping.device && status.st_ino == mapping.inode)
            return file;
    }
    return {};
}

void ProcessWalker::pushFile(base::UniqueFd file, const std::string& name)
{
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        return;
    ScanItem item;
    item.kind = ScanItem::Kind::MemoryPart;
    item.name = printable(name);
    item.id = fileId(status);
    const FileId id = item.id;
    if (const auto known = files_.find(id); known != files_.end())
        item.outcome = known->second;
    else if (const auto key =
                 Remembering::keyOf(remembering_.fileSystemOf(file.get(), status, watch_), status);
             remembering_.knows(key))
        item.outcome = clean_;
    else
        item.key = remembering_.prepare(key, file.get(), watch_);
    item.remembered = item.outcome == clean_;
    if (!item.outcome)
        item.fd = std::move(file);
    if (files_.size() >= mostFiles)
        files_.clear();
    files_[id] = pipeline_.push(std::move(item));
}

void ProcessWalker::pushMemory(int process, const CodeMapping& mapping)
{
    const std::string name = mapping.path.empty() ? "memory without a file" : printable(mapping.path);
    const base::UniqueFd memory(::openat(process, "mem", O_RDONLY | O_CLOEXEC));
    if (!memory) {
        const int code = errno;
        if (!isGone(code) && !isClosed(process))
            fail(name, "not scanned: " + base::describeError(code));
        return;
    }
    const std::uint64_t length = mapping.end - mapping.start;
    for (std::uint64_t offset = 0; offset < length && !pipeline_.stopped(); offset += pieceSize) {
        if (offset >= mostOfMapping || processBytes_ >= mostOfProcess)
            return fail(name, "not wholly scanned: too large");
        const std::uint64_t size = std::min(pieceSize + pieceOverlap, length - offset);
        base::Result<base::UniqueFd> copy =
            watch_.run([&] { return copyMemory(memory.get(), mapping.start + offset, size); });
        if (!copy) {
            if (!isGone(copy.error().code))
                fail(name, "not scanned: " + copy.error().text);
            return;
        }
        pushPiece(std::move(copy).value(), name);
    }
}

void ProcessWalker::pushPiece(base::UniqueFd copy, const std::string& name)
{
    struct stat status = {};
    if (::fstat(copy.get(), &status) != 0)
        return fail(name, base::describeError(errno));
    processBytes_ += static_cast<std::uint64_t>(status.st_size);
    ScanItem item;
    item.kind = ScanItem::Kind::MemoryPart;
    item.name = name;
    item.fd = std::move(copy);
    item.id = fileId(status);
    item.memory = static_cast<std::uint64_t>(status.st_size);
    pipeline_.push(std::move(item));
}

void ProcessWalker::fail(const std::string& name, const std::string& remark)
{
    ScanItem item;
    item.kind = ScanItem::Kind::MemoryPart;
    item.name = printable(name);
    item.outcome = std::make_shared<ScanOutcome>(Verdict{SCANSTAT_ERROR, {}, {}, remark});
    pipeline_.push(std::move(item));
}

} // namespace vardo
