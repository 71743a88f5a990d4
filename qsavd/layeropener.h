#pragma once

#include "containers/opener.h"
#include "qsavd/filescanner.h"

#include <functional>
#include <vector>

namespace qsavd {

/// A file within the file that is scanned, as the scanning library announces it.
struct LayerSeen
{
    containers::Content content;
    std::string name;        ///< from the outside in
    unsigned level = 0;      ///< within the scan that announces it
    bool inDocument = false; ///< a part of a PDF document
};

/// What is scanned by itself, from within the scan of the file that it is in.
struct Piece
{
    containers::Content memory;
    int file = -1; ///< when it is not in memory
    std::string name;
};

/// What the scan of a piece brought, and how much the library unpacked of it.
struct PieceFinding
{
    FileFinding finding;
    std::size_t members = 0;
    std::uint64_t bytes = 0;
};

/// Opens what the scanning library leaves closed, at any depth of one file, and has each member scanned.
class LayerOpener
{
  public:
    enum class Next { Scan, Skip, Stop };
    using ScanPiece = std::function<PieceFinding(const Piece&)>;

    /// Temporary files go to `directory`. With `enabled` false only the limits are kept.
    LayerOpener(const Begin& limits, bool enabled, std::string directory, ScanPiece scanPiece);

    /// What the library is to do about a layer. What it holds may have been scanned meanwhile.
    Next enter(const LayerSeen& layer);

    /// The finding about the file, when the library has this one.
    FileFinding combined(FileFinding own) const;
    std::chrono::milliseconds timeLeft() const { return budget_.timeLeft(); }

  private:
    /// Where pieces are scanned; each lies within the one before.
    struct Place
    {
        std::string name;
        unsigned depth = 0;
        bool known = false; ///< the piece at its top was announced already
    };

    bool isBeyondLimits(unsigned depth);
    Next openTried(const containers::Container& container, const LayerSeen& layer, unsigned depth);
    void open(const containers::Container& container, const LayerSeen& layer, unsigned depth);
    bool take(const std::string& name, const containers::MemberData& data);
    void report(const containers::Container& container, const containers::Opened& opened);
    PieceFinding scan(const Piece& piece);
    void keep(FileFinding finding);

    Begin limits_;
    bool enabled_;
    std::string directory_;
    ScanPiece scanPiece_;
    containers::Budget budget_;
    std::vector<Place> places_{Place{}};
    FileFinding kept_{Finding::Clean, {}, {}, {}};
    bool stopped_ = false;
};

} // namespace qsavd
