#pragma once

#include <cstddef>
#include <cstdint>

/// What a client, the service and its workers say to each other, over SOCK_SEQPACKET sockets. One
/// connection to the service is one session; both ends check that the other has their own user id.
///
///     client                        service                       worker 1..N
///       connect ─────────────────────►
///       ◄────────────────────── Loading            (again and again, while there is nothing to scan with)
///       ◄──────────────────────── Hello            (once the signatures are loaded)
///       Begin ───────────────────────►
///       ◄─────────────────── WorkerStarted + socket  (for each, and for each replacement)
///       ◄───────────────────────────────────────────────────── WorkerReady
///       ScanBatch + files ───────────────────────────────────────►
///       ◄───────────────────────────────────────────────────── FileResult, one a file, in order
///       KillWorker ──────────────────►  (it overran its time)
///       hang up ─────────────────────►  kills the session's workers
///
/// Integers are in the machine's own order. Nobody trusts a length, an id or a kind that another sent.
namespace qsavd {

inline constexpr std::uint32_t protocolVersion = 3;
inline constexpr std::size_t maxText = 2000;
inline constexpr std::size_t maxBatchFiles = 8;
inline constexpr std::uint64_t maxBatchBytes = 256u << 10;
inline constexpr unsigned maxWorkers = 64;
inline constexpr std::size_t identitySize = 32;
inline constexpr std::size_t maxVirusName = 255;
inline constexpr std::size_t maxInnerName = 4095;
inline constexpr std::size_t maxRemark = 511;

enum class Kind : std::uint32_t {
    Hello = 1,
    Begin,
    WorkerStarted,
    KillWorker,
    Failed,
    WorkerReady,
    ScanBatch,
    FileResult,
    Loading,
};

/// Service to client: it is alive, and loads what the client waits for.
struct Loading
{
    Kind kind = Kind::Loading;
};

/// Service to client: the signatures are loaded, or cannot be.
struct Hello
{
    Kind kind = Kind::Hello;
    std::uint32_t version = protocolVersion;
    std::uint64_t signatures = 0;
    std::uint32_t usable = 0;                  ///< 0: `text` says why nothing can be scanned
    std::uint8_t engine[identitySize]{};       ///< tells the programs that scan from others; zeros: not known
    std::uint8_t signatureSet[identitySize]{}; ///< tells what was loaded from other sets; zeros: not known
    char text[maxText + 1]{};    ///< terminated; what was left out, or why nothing can be scanned
    char leftOut[maxText + 1]{}; ///< terminated; the paths of what was left out, as many as fit, a line each
};

enum BeginFlags : std::uint32_t {
    ScanArchives = 1,
    ScanMails = 2,
    ScanPacked = 4,
    ScanHeuristics = 8,
};

/// Client to service: the workers of this session, please. Sizes in bytes; out of range values are clamped.
/// The workers go no further ahead of others than their client does.
struct Begin
{
    Kind kind = Kind::Begin;
    std::uint32_t version = protocolVersion;
    std::uint32_t flags = 0;   ///< BeginFlags
    std::uint32_t workers = 0; ///< 0: one a core
    std::uint32_t maxRecursion = 0;
    std::uint32_t maxFiles = 0;
    std::uint32_t maxSeconds = 0;
    std::int16_t nice = 0;        ///< of the workers, 0 to 19
    std::uint16_t ioPriority = 0; ///< likewise, as ioprio_set(2) takes it
    std::uint32_t policy = 0;     ///< likewise: SCHED_OTHER, SCHED_BATCH or SCHED_IDLE
    std::uint32_t reserved = 0;
    std::uint64_t maxFileSize = 0;
    std::uint64_t maxScanSize = 0;
};

/// Service to client, with the client's end of the worker's socket.
struct WorkerStarted
{
    Kind kind = Kind::WorkerStarted;
    std::uint32_t worker = 0; ///< never used twice in a session
};

/// Client to service: this worker does not answer. Another one takes its place.
struct KillWorker
{
    Kind kind = Kind::KillWorker;
    std::uint32_t worker = 0;
};

/// Service to client: the session cannot go on.
struct Failed
{
    Kind kind = Kind::Failed;
    char text[maxText + 1]{}; ///< terminated
};

/// Worker to client: locked down and waiting for files.
struct WorkerReady
{
    Kind kind = Kind::WorkerReady;
};

/// Client to worker, with `count` files opened for reading.
struct ScanBatch
{
    Kind kind = Kind::ScanBatch;
    std::uint32_t count = 0; ///< 1 to maxBatchFiles
    std::uint64_t ids[maxBatchFiles]{};
};

enum class Finding : std::uint32_t { Clean, Infected, Suspected, Encrypted, Corrupt, Error };

/// Worker to client. Behind it stand the three texts, without terminators, and nothing else.
struct FileResult
{
    Kind kind = Kind::FileResult;
    Finding finding = Finding::Error;
    std::uint64_t id = 0;
    std::uint32_t virusLength = 0;
    std::uint32_t innerLength = 0;
    std::uint32_t remarkLength = 0;
    std::uint32_t reserved = 0;
};

inline constexpr std::size_t maxMessage = sizeof(FileResult) + maxVirusName + maxInnerName + maxRemark;
static_assert(sizeof(Hello) <= maxMessage && sizeof(Failed) <= maxMessage);

} // namespace qsavd
