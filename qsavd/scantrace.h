#pragma once

#include "qsavd/layeropener.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <clamav.h>

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

/// Has the scans of `engine` tell the ScanTrace that they get as their context.
void traceScansOf(cl_engine* engine);

/// For as long as a scan runs, which may begin within another one: messages without a context are its.
class RunningScan
{
  public:
    explicit RunningScan(ScanTrace& trace);
    RunningScan(const RunningScan&) = delete;
    RunningScan& operator=(const RunningScan&) = delete;
    ~RunningScan();

  private:
    ScanTrace* outer_;
};

/// Sends the library's messages to the scan that they are about instead of to standard error.
void catchLibraryMessages();

} // namespace qsavd
