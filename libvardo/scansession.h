#pragma once

#include "base/result.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vardo {

/// Where the scanning service lives and what it loads.
struct ServicePaths
{
    std::string socket;                     ///< unix socket, mode 0600
    std::string pidFile;                    ///< holds the service's process id
    std::vector<std::string> signatureDirs; ///< all are loaded; a missing one is passed over
    std::string substituteDir; ///< loaded, too, while none of those holds a signed database; may be empty
    unsigned idleMinutes = 10; ///< after which an unused service ends itself
    std::string program;       ///< the service's program; empty: the one installed with this library
    std::chrono::milliseconds patience{30'000}; ///< for a service that gives no sign of life
};

/// What a session lets its workers open and how far they may go. Sizes in bytes.
struct SessionOptions
{
    bool archives = true;
    bool mails = true;
    bool packed = true;
    bool heuristics = true;
    std::uint64_t maxFileSize = 100ull << 20;
    std::uint64_t maxScanSize = 400ull << 20;
    std::uint32_t maxRecursion = 17;
    std::uint32_t maxFiles = 100000;
    std::uint32_t maxSeconds = 30; ///< per file of up to 16 MB; a watchdog kills the worker 5 s later
    unsigned workers = 0;          ///< 0: one for each core that the caller may use
};

/// What was found out about one file.
struct Verdict
{
    int status = 0;     ///< one of SCANSTAT_CLEAN, INFECTED, SUSPECTED, ENCRYPTED, CORRUPT, ERROR
    std::string virus;  ///< name of what was found, empty when nothing was
    std::string inner;  ///< where inside the file, components divided by "=>"; empty for the file itself
    std::string remark; ///< further text for a person, for example why the file was not wholly scanned
};

/// What a running service says of itself.
struct ServiceInfo
{
    bool usable = false; ///< false: `remark` says why nothing can be scanned
    unsigned long signatures = 0;
    std::string remark;               ///< signature files that were left out, for a person; empty normally
    std::vector<std::string> leftOut; ///< their paths, as many as the service told
    std::string engine{};             ///< bytes that differ when other programs scan; empty: not known
    std::string signatureSet{};       ///< the same of what it loaded
};

/// Finds the service of `paths`, or starts it, and with `wait` returns only when its signatures are
/// loaded. `beat`, when given, is called at least every 100 ms meanwhile; false from it gives up.
base::Result<ServiceInfo> startService(const ServicePaths& paths, bool wait,
                                       const std::function<bool()>& beat);

/// One scan's set of workers. A thread of its own talks with them; a worker that dies or overruns its
/// time costs the file it had in hand, which gets an ERROR verdict, and is replaced. A service that dies
/// is started again: the files in hand are scanned again, and get an ERROR when that was their second time.
class ScanSession
{
  public:
    /// Called on the session's thread. Must be quick: nothing else happens meanwhile, and a session
    /// cannot end. Any may be empty, unless files are submitted.
    struct Handlers
    {
        /// With what the service says of itself: on the opening thread first, and after each new start of
        /// the service.
        std::function<void(const ServiceInfo& info)> opened;
        /// For each submitted id, in any order, but not after `lost`.
        std::function<void(std::uint64_t id, Verdict verdict)> done;
        /// Once, when the service failed three times in a row, each time without a single verdict. `why`
        /// is for a person. No more is scanned, whatever is submitted.
        std::function<void(std::string why)> lost;
    };

    /// Opens a session, starting the service if need be, which takes as long as loading the signatures.
    /// Its workers have the priority of the calling thread, and are no more than the cores that it may use.
    /// `beat` as for startService.
    static base::Result<std::unique_ptr<ScanSession>> open(const ServicePaths& paths,
                                                           const SessionOptions& options, Handlers handlers,
                                                           const std::function<bool()>& beat);

    virtual ~ScanSession() = default; ///< abandons what is in flight, at once; no handler is called any more

    /// Hands over a regular file (or memfd) opened for reading, with what there is to do about it, in bytes:
    /// the most goes first. Its file offset is left anywhere. `fd` stays the caller's and must stay open
    /// until `done` was called for `id`, or `lost`. Never blocks; callable from any thread.
    virtual void submit(std::uint64_t id, int fd, std::uint64_t size, std::uint64_t work) = 0;
};

} // namespace vardo
