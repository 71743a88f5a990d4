#include "qsavd/filescanner.h"

#include "base/systemerror.h"
#include "protocol/filetime.h"
#include "qsavd/layeropener.h"
#include "qsavd/scantrace.h"
#include "qsavd/unpacking.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace qsavd {

namespace {

constexpr std::string_view unofficialMark = ".UNOFFICIAL";
constexpr long long bytecodeMilliseconds = 5000;

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

FileScanner::FileScanner(cl_engine* engine, const Begin& options, const std::string& temporaryDirectory)
    : engine_(engine)
    , limits_(options)
    , maxSeconds_(options.maxSeconds)
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
    traceScansOf(engine);
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

    limits_.maxSeconds = static_cast<std::uint32_t>(timeForFile(maxSeconds_, before).count());
    LayerOpener opener(limits_, (options_.parse & CL_SCAN_PARSE_ARCHIVE) != 0, directory_,
                       [&](const Piece& piece) { return scanPiece(piece, opener); });
    ScanTrace trace(opener, limits_.maxFileSize);
    cl_engine_set_num(engine_, CL_ENGINE_MAX_SCANTIME, 1000LL * limits_.maxSeconds);
    forgetFailedWrites();
    const char* virus = nullptr;
    unsigned long scanned = 0;
    const RunningScan running(trace);
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
    const RunningScan running(trace);
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

} // namespace qsavd
