#include "qsavd/layeropener.h"

#include "containers/recognise.h"

#include <algorithm>
#include <array>

namespace qsavd {

namespace {

constexpr std::array findingsByWeight{Finding::Clean,     Finding::Error,     Finding::Corrupt,
                                      Finding::Encrypted, Finding::Suspected, Finding::Infected};

auto weight(const FileFinding& finding)
{
    return std::find(findingsByWeight.begin(), findingsByWeight.end(), finding.finding);
}

containers::Limits limitsOf(const Begin& limits)
{
    return {limits.maxFileSize, limits.maxScanSize, limits.maxFiles, std::chrono::seconds(limits.maxSeconds)};
}

std::string nestedName(const std::string& outer, const std::string& name)
{
    std::string whole = outer;
    if (!outer.empty() && !name.empty())
        whole += innerSeparator;
    whole += name;
    return whole.substr(0, maxInnerName);
}

std::string words(containers::Failure failure, std::string_view container)
{
    const std::string what = "its " + std::string(container) + " container ";
    switch (failure) {
    case containers::Failure::CutShort:
        return what + "is cut short";
    case containers::Failure::UnknownMethod:
        return what + "is packed by an unknown method";
    case containers::Failure::NobodyOpens:
        return what + "cannot be opened";
    case containers::Failure::NoRoom:
        return "no room to unpack it";
    case containers::Failure::NoMemory:
        return "not enough memory";
    default:
        return what + "is damaged or cut short";
    }
}

} // namespace

LayerOpener::LayerOpener(const Begin& limits, bool enabled, std::string directory, ScanPiece scanPiece)
    : limits_(limits)
    , enabled_(enabled)
    , directory_(std::move(directory))
    , scanPiece_(std::move(scanPiece))
    , budget_(limitsOf(limits))
{
}

LayerOpener::Next LayerOpener::enter(const LayerSeen& layer)
{
    const Place& place = places_.back();
    const unsigned depth = place.depth + layer.level;
    if (layer.level > 0) {
        budget_.addMember();
        budget_.addBytes(layer.content.size());
    }
    // Within a file that it opens by itself alone, the library keeps the limits.
    if (places_.size() > 1 && isBeyondLimits(depth))
        return stopped_ ? Next::Stop : Next::Skip;
    if (stopped_)
        return Next::Stop;
    if (!enabled_ || (place.known && layer.level == 0))
        return Next::Scan;
    const auto container =
        layer.inDocument ? containers::recogniseStream(layer.content) : containers::recognise(layer.content);
    if (!container || isBeyondLimits(depth + 1))
        return stopped_ ? Next::Stop : Next::Scan;
    if (containers::isTriedByLibrary(container->format))
        return openTried(*container, layer, depth);
    open(*container, layer, depth);
    return stopped_ ? Next::Stop : Next::Scan;
}

bool LayerOpener::isBeyondLimits(unsigned depth)
{
    const std::string_view limit = depth >= limits_.maxRecursion ? "MaxRecursion" : budget_.exceeded();
    if (limit.empty())
        return false;
    keep({Finding::Error, {}, {}, limitRemark(limits_, limit)});
    stopped_ = stopped_ || budget_.timeLeft().count() == 0;
    return true;
}

/// Has the library look into it first, by itself, and opens it if that does not bring all that is in it.
LayerOpener::Next LayerOpener::openTried(const containers::Container& container, const LayerSeen& layer,
                                         unsigned depth)
{
    Piece piece;
    piece.memory = layer.content.subspan(container.begin);
    piece.name = layer.name;
    places_.push_back({layer.name, depth, true});
    const PieceFinding found = scan(piece);
    places_.pop_back();
    if (found.finding.finding == Finding::Clean &&
        !containers::sawAll(container, layer.content, found.members, found.bytes, smallestScanned))
        open(container, layer, depth);
    if (stopped_)
        return Next::Stop;
    return container.begin == 0 ? Next::Skip : Next::Scan;
}

void LayerOpener::open(const containers::Container& container, const LayerSeen& layer, unsigned depth)
{
    places_.push_back({layer.name, depth + 1, false});
    const containers::Workshop workshop{
        directory_, budget_,
        [this](const std::string& name, const containers::MemberData& data) { return take(name, data); }};
    report(container, containers::openContainer(container, layer.content, workshop));
    places_.pop_back();
}

bool LayerOpener::take(const std::string& name, const containers::MemberData& data)
{
    scan({data.memory(), data.file(), nestedName(places_.back().name, name)});
    return !stopped_;
}

void LayerOpener::report(const containers::Container& container, const containers::Opened& opened)
{
    if (opened.encrypted)
        keep({Finding::Encrypted,
              "Heuristics.Encrypted." + std::string(container.name),
              nestedName(places_.back().name, opened.encryptedName),
              {}});
    if (!opened.limit.empty())
        keep({Finding::Error, {}, {}, limitRemark(limits_, opened.limit)});
    if (opened.failure != containers::Failure::None)
        keep({Finding::Error,
              {},
              {},
              (opened.anything ? "not wholly scanned: " : "not scanned: ") +
                  words(opened.failure, container.name)});
}

PieceFinding LayerOpener::scan(const Piece& piece)
{
    PieceFinding found = scanPiece_(piece);
    keep(found.finding);
    return found;
}

void LayerOpener::keep(FileFinding finding)
{
    if (stopped_ || weight(finding) <= weight(kept_))
        return;
    kept_ = std::move(finding);
    stopped_ = kept_.finding == Finding::Infected;
}

FileFinding LayerOpener::combined(FileFinding own) const
{
    return stopped_ || weight(kept_) > weight(own) ? kept_ : own;
}

} // namespace qsavd
