#include "qsavd/filescanner.h"

#include "base/systemerror.h"
#include "qsavd/layeropener.h"
#include "qsavd/unpacking.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

/// What the library's callbacks tell during one scan.
struct ScanTrace
{
    struct Hit
    {
        std::string virus;
        std::string inner;
    };

    /// A file that is open inside another one.
    struct Layer
    {
        std::string name;
        std::vector<std::string> members; ///< that were announced with their folders, in their order
        std::size_t next = 0;             ///< of the members
        bool isDocument = false;
    };

    ScanTrace(LayerOpener& openerOfFile, std::uint64_t limit, std::string where = {})
        : opener(openerOfFile)
        , place(std::move(where))
        , partLimit(limit)
    {
    }

    LayerOpener& opener;
    std::string place;       ///< of what is scanned, within the file
    std::uint64_t partLimit; ///< bytes
    std::vector<Layer> layers;
    std::vector<Hit> hits; ///< the innermost layer comes first
    std::string encryptedMember;
    bool partTooLarge = false;
    bool begun = false;
    std::size_t unpacked = 0; ///< layers right below what is scanned
    std::uint64_t unpackedBytes = 0;
    std::string_view failure; ///< what the library could not do and went on without

    std::string innerName() const;
    std::string wholeName(std::string name);
};

namespace {

constexpr std::string_view separator = "=>";
constexpr std::string_view unofficialMark = ".UNOFFICIAL";
constexpr std::size_t maxHits = 16;
constexpr std::size_t maxLayers = 128;
constexpr std::size_t maxMembers = 65'536; // whose folders are remembered
constexpr long long bytecodeMilliseconds = 5000;

ScanTrace& traceOf(void* context)
{
    return *static_cast<ScanTrace*>(context);
}

/// The name of a member as it is worth showing: those that the library made up are not.
std::string shownName(const char* name)
{
    const std::string_view text = name ? name : "";
    const std::string_view last = text.substr(text.rfind('/') + 1);
    if (last.starts_with("clamav-") && last.ends_with(".tmp"))
        return {};
    return std::string(text.substr(0, maxInnerName));
}

/// Has what the library does not open in a layer be opened.
cl_error_t openLayer(ScanTrace& trace, uint32_t level, containers::Content content)
{
    const bool inDocument = level > 0 && trace.layers[level - 1].isDocument;
    switch (trace.opener.enter({content, trace.innerName(), level, inDocument})) {
    case LayerOpener::Next::Skip:
        return CL_BREAK;
    case LayerOpener::Next::Stop:
        return CL_VIRUS;
    default:
        return CL_CLEAN;
    }
}

cl_error_t enterLayer(int, const char* type, const char**, size_t, const char* name, size_t size,
                      const char* content, uint32_t level, uint32_t, void* context)
{
    ScanTrace& trace = traceOf(context);
    trace.begun = true;
    if (level < maxLayers) {
        trace.layers.resize(level);
        trace.layers.push_back({level == 0 ? trace.place : trace.wholeName(shownName(name)),
                                {},
                                0,
                                std::string_view(type ? type : "") == "CL_TYPE_PDF"});
    }
    if (level == 1) {
        ++trace.unpacked;
        trace.unpackedBytes += size;
    }
    // The library cuts a long member of some archives at the limit, scans that much and calls it clean.
    if (level > 0 && size >= trace.partLimit)
        trace.partTooLarge = true;
    const containers::Content bytes(reinterpret_cast<const std::byte*>(content), content ? size : 0);
    return level < maxLayers ? openLayer(trace, level, bytes) : CL_CLEAN;
}

cl_error_t leaveLayer(int, int result, const char* virus, void* context)
{
    ScanTrace& trace = traceOf(context);
    if (result == CL_VIRUS && virus && trace.hits.size() < maxHits)
        trace.hits.push_back({virus, trace.innerName()});
    if (!trace.layers.empty())
        trace.layers.pop_back();
    return CL_CLEAN;
}

cl_error_t seeMember(const char*, unsigned long, const char* name, unsigned long, int encrypted, unsigned int,
                     void* context)
{
    ScanTrace& trace = traceOf(context);
    if (encrypted && trace.encryptedMember.empty())
        trace.encryptedMember = shownName(name);
    if (!encrypted && !trace.layers.empty() && trace.layers.back().members.size() < maxMembers)
        trace.layers.back().members.push_back(shownName(name));
    return CL_CLEAN;
}

/// After these failures the library goes on with what it has, and may call the file clean.
struct QuietFailure
{
    std::string_view message; ///< part of what it says about it
    std::string_view remark;
};
constexpr std::array quietFailures{
    QuietFailure{"pread", "cannot be read"}, QuietFailure{"write error", "no room to unpack it"},
    QuietFailure{"Can't write", "no room to unpack it"}, QuietFailure{"Can't create", "no room to unpack it"},
    QuietFailure{"allocate memory", "not enough memory"}};

/// The scan that runs. Some messages come without the context of their scan; a process scans one file at
/// a time.
ScanTrace* runningScan = nullptr;

/// For as long as a scan runs, which may begin within another one.
class Running
{
  public:
    explicit Running(ScanTrace& trace)
        : outer_(std::exchange(runningScan, &trace))
    {
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { runningScan = outer_; }

  private:
    ScanTrace* outer_;
};

void seeMessage(cl_msg, const char*, const char* text, void*)
{
    const std::string_view message = text ? text : "";
    for (const QuietFailure& failure : quietFailures)
        if (runningScan && message.find(failure.message) != message.npos)
            runningScan->failure = failure.remark;
}

std::string sizeText(std::uint64_t bytes)
{
    const std::uint64_t megabytes = bytes >> 20;
    return megabytes > 0 ? std::to_string(megabytes) + " MB" : std::to_string(bytes) + " bytes";
}

bool sameTime(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool unchanged(const struct stat& before, int file)
{
    struct stat after = {};
    return fstat(file, &after) == 0 && before.st_size == after.st_size &&
           sameTime(before.st_mtim, after.st_mtim) && sameTime(before.st_ctim, after.st_ctim);
}

FileFinding failure(std::string remark)
{
    return {Finding::Error, {}, {}, std::move(remark)};
}

bool isSuspicion(std::string_view virus)
{
    return virus.starts_with("Heuristics.") || virus.starts_with("PUA.") ||
           virus.starts_with("BC.Heuristics.");
}

std::string plainVirusName(std::string_view virus)
{
    if (virus.ends_with(unofficialMark))
        virus.remove_suffix(unofficialMark.size());
    return std::string(virus.substr(0, maxVirusName));
}

cl_scan_options scanOptions(std::uint32_t flags)
{
    cl_scan_options options{};
    options.parse = ~0u;
    if ((flags & ScanArchives) == 0)
        options.parse &= ~static_cast<unsigned>(CL_SCAN_PARSE_ARCHIVE);
    if ((flags & ScanMails) == 0)
        options.parse &= ~static_cast<unsigned>(CL_SCAN_PARSE_MAIL);
    // Without heuristics, too, people are told what could not be looked into.
    options.heuristic =
        CL_SCAN_HEURISTIC_EXCEEDS_MAX | CL_SCAN_HEURISTIC_ENCRYPTED_ARCHIVE | CL_SCAN_HEURISTIC_ENCRYPTED_DOC;
    if ((flags & ScanHeuristics) != 0) {
        options.general |= CL_SCAN_GENERAL_HEURISTICS;
        options.heuristic |= CL_SCAN_HEURISTIC_BROKEN;
    }
    return options;
}

} // namespace

std::string ScanTrace::innerName() const
{
    std::string name;
    for (const Layer& layer : layers) {
        if (layer.name.empty())
            continue;
        if (!name.empty())
            name += separator;
        name += layer.name;
    }
    return name;
}

/// The name of the member that is opened next, with its folders. Some formats are opened without; but all
/// their members were announced before, in the same order.
std::string ScanTrace::wholeName(std::string name)
{
    if (layers.empty() || name.empty())
        return name;
    Layer& archive = layers.back();
    for (std::size_t i = archive.next; i < archive.members.size(); ++i) {
        const std::string& member = archive.members[i];
        if (member == name || member.ends_with("/" + name)) {
            archive.next = i + 1;
            // The announcement may come twice in a row.
            if (archive.next < archive.members.size() && archive.members[archive.next] == member)
                ++archive.next;
            return member;
        }
    }
    return name;
}

FileScanner::FileScanner(cl_engine* engine, const Begin& options, const std::string& temporaryDirectory)
    : engine_(engine)
    , limits_(options)
    , directory_(temporaryDirectory)
    , options_(scanOptions(options.flags))
{
    cl_engine_set_str(engine, CL_ENGINE_TMPDIR, temporaryDirectory.c_str());
    cl_engine_set_num(engine, CL_ENGINE_MAX_FILESIZE, static_cast<long long>(options.maxFileSize));
    cl_engine_set_num(engine, CL_ENGINE_MAX_SCANSIZE, static_cast<long long>(options.maxScanSize));
    cl_engine_set_num(engine, CL_ENGINE_MAX_RECURSION, options.maxRecursion);
    cl_engine_set_num(engine, CL_ENGINE_MAX_FILES, options.maxFiles);
    cl_engine_set_num(engine, CL_ENGINE_MAX_SCANTIME, 1000LL * options.maxSeconds);
    cl_engine_set_num(engine, CL_ENGINE_BYTECODE_TIMEOUT, bytecodeMilliseconds);
    cl_engine_set_clcb_file_inspection(engine, enterLayer);
    cl_engine_set_clcb_post_scan(engine, leaveLayer);
    cl_engine_set_clcb_meta(engine, seeMember);
}

FileFinding FileScanner::scan(int file)
{
    struct stat before = {};
    if (fstat(file, &before) != 0 || !S_ISREG(before.st_mode))
        return failure("not scanned: not a regular file");
    if (static_cast<std::uint64_t>(before.st_size) > limits_.maxFileSize)
        return failure("not scanned: larger than " + sizeText(limits_.maxFileSize));
    char byte = 0;
    if (before.st_size == 0 && pread(file, &byte, 1, 0) != 0)
        return failure("not scanned: its size is not known");

    LayerOpener opener(limits_, (options_.parse & CL_SCAN_PARSE_ARCHIVE) != 0, directory_,
                       [&](const Piece& piece) { return scanPiece(piece, opener); });
    ScanTrace trace(opener, limits_.maxFileSize);
    cl_engine_set_num(engine_, CL_ENGINE_MAX_SCANTIME, 1000LL * limits_.maxSeconds);
    forgetFailedWrites();
    const char* virus = nullptr;
    unsigned long scanned = 0;
    const Running running(trace);
    const cl_error_t code = cl_scandesc_callback(file, nullptr, &virus, &scanned, engine_, &options_, &trace);
    FileFinding result = judgeWhole(code, virus, trace, static_cast<std::uint64_t>(before.st_size));
    if (result.finding == Finding::Clean && !unchanged(before, file))
        result = failure("changed while it was scanned");
    return opener.combined(std::move(result));
}

/// Scans, from within the scan of the file that it is in, what was unpacked from there.
PieceFinding FileScanner::scanPiece(const Piece& piece, LayerOpener& opener)
{
    ScanTrace trace(opener, limits_.maxFileSize, piece.name);
    const Running running(trace);
    struct stat info = {};
    const bool inFile = piece.file >= 0 && fstat(piece.file, &info) == 0;
    const auto size = inFile ? static_cast<std::uint64_t>(info.st_size) : piece.memory.size();
    const char* virus = nullptr;
    unsigned long scanned = 0;
    cl_error_t code = CL_EMEM;
    // 0 would be without a limit.
    cl_engine_set_num(engine_, CL_ENGINE_MAX_SCANTIME, std::max<long long>(opener.timeLeft().count(), 1));
    if (inFile) {
        code = cl_scandesc_callback(piece.file, nullptr, &virus, &scanned, engine_, &options_, &trace);
    } else if (cl_fmap_t* map = cl_fmap_open_memory(piece.memory.data(), piece.memory.size())) {
        code = cl_scanmap_callback(map, nullptr, &virus, &scanned, engine_, &options_, &trace);
        cl_fmap_close(map);
    }
    return {judgeWhole(code, virus, trace, size), trace.unpacked, trace.unpackedBytes};
}

/// Likewise, and not clean when the library went on without something.
FileFinding FileScanner::judgeWhole(int code, const char* virus, const ScanTrace& trace,
                                    std::uint64_t size) const
{
    FileFinding result = judge(code, virus, trace);
    if (result.finding != Finding::Clean)
        return result;
    if (!trace.failure.empty())
        return failure("not wholly scanned: " + std::string(trace.failure));
    if (const int why = failedWrite(); why != 0)
        return failure("not wholly scanned: it cannot be unpacked (" + base::describeError(why) + ")");
    if (!trace.begun && size > smallestScanned)
        return failure("not scanned: the scanner could not begin");
    if (trace.partTooLarge)
        return failure(limitRemark(limits_, "MaxFileSize"));
    return result;
}

FileFinding FileScanner::judge(int code, const char* virus, const ScanTrace& trace) const
{
    const std::string_view name = virus ? virus : "";
    if (code == CL_CLEAN)
        return {Finding::Clean, {}, {}, {}};
    if (code == CL_ETIMEOUT)
        return failure(limitRemark(limits_, "MaxScanTime"));
    if (code != CL_VIRUS || name.empty())
        return failure("not wholly scanned: " + std::string(cl_strerror(static_cast<cl_error_t>(code))));

    constexpr std::string_view limit = "Heuristics.Limits.Exceeded";
    if (name.starts_with(limit))
        return failure(limitRemark(limits_, name.substr(std::min(name.size(), limit.size() + 1))));
    if (name == "Heuristics.XZ.DicSizeLimit")
        return failure("not wholly scanned: needs too much memory to be unpacked");

    const auto hit = std::find_if(trace.hits.begin(), trace.hits.end(),
                                  [&](const ScanTrace::Hit& candidate) { return candidate.virus == name; });
    FileFinding result{Finding::Infected, plainVirusName(name), {}, {}};
    if (hit != trace.hits.end())
        result.inner = hit->inner;
    if (name.starts_with("Heuristics.Encrypted.")) {
        result.finding = Finding::Encrypted;
        if (result.inner.empty())
            result.inner = trace.encryptedMember;
    } else if (name.starts_with("Heuristics.Broken.")) {
        result.finding = Finding::Corrupt;
    } else if (isSuspicion(name)) {
        result.finding = Finding::Suspected;
    }
    return result;
}

std::string limitRemark(const Begin& limits, std::string_view name)
{
    std::string remark = "not wholly scanned: ";
    if (name == "MaxFileSize")
        return remark + "a part is larger than " + sizeText(limits.maxFileSize);
    if (name == "MaxScanSize")
        return remark + "holds more than " + sizeText(limits.maxScanSize);
    if (name == "MaxFiles")
        return remark + "holds more than " + std::to_string(limits.maxFiles) + " files";
    if (name == "MaxRecursion")
        return remark + "nested deeper than " + std::to_string(limits.maxRecursion) + " levels";
    if (name == "MaxScanTime")
        return remark + "took longer than " + std::to_string(limits.maxSeconds) + " s";
    return remark + "a limit was exceeded (" + std::string(name) + ")";
}

void catchLibraryMessages()
{
    cl_set_clcb_msg(seeMessage);
}

} // namespace qsavd
