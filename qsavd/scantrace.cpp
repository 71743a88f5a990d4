#include "qsavd/scantrace.h"

#include <array>

namespace qsavd {

namespace {

constexpr std::size_t maxHits = 16;
constexpr std::size_t maxLayers = 128;
constexpr std::size_t maxMembers = 65'536; // whose folders are remembered

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

void seeMessage(cl_msg, const char*, const char* text, void*)
{
    const std::string_view message = text ? text : "";
    for (const QuietFailure& failure : quietFailures)
        if (runningScan && message.find(failure.message) != message.npos)
            runningScan->failure = failure.remark;
}

} // namespace

std::string ScanTrace::innerName() const
{
    std::string name;
    for (const Layer& layer : layers) {
        if (layer.name.empty())
            continue;
        if (!name.empty())
            name += innerSeparator;
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

RunningScan::RunningScan(ScanTrace& trace)
    : outer_(std::exchange(runningScan, &trace))
{
}

RunningScan::~RunningScan()
{
    runningScan = outer_;
}

void traceScansOf(cl_engine* engine)
{
    cl_engine_set_clcb_file_inspection(engine, enterLayer);
    cl_engine_set_clcb_post_scan(engine, leaveLayer);
    cl_engine_set_clcb_meta(engine, seeMember);
}

void catchLibraryMessages()
{
    cl_set_clcb_msg(seeMessage);
}

} // namespace qsavd
