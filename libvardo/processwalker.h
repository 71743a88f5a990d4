#pragma once

#include "libvardo/processmaps.h"
#include "libvardo/scanpipeline.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include <sys/types.h>

namespace vardo {

/// Feeds what the running processes execute to a pipeline: their programs, the files that they have
/// mapped as code, and the code in their memory that comes from no file.
///
/// For each process come its parts, then one Process item named "PID PROGRAM". A file that several
/// processes use is scanned once. Processes that the caller may not look into, and kernel threads, are
/// passed over; one that ends meanwhile, or closes itself to the caller, is a LostProcess and no error.
/// Runs on one thread.
class ProcessWalker
{
  public:
    explicit ProcessWalker(ScanPipeline& pipeline);

    /// Walks all processes, or with `all` false those of the caller's user.
    void walk(bool all);

  private:
    void visit(pid_t pid, int directory);
    void visitMapping(int process, const CodeMapping& mapping);
    void pushFile(base::UniqueFd file, const std::string& name);
    base::UniqueFd openMapped(int process, const CodeMapping& mapping);
    void pushMemory(int process, const CodeMapping& mapping);
    void pushPiece(base::UniqueFd copy, const std::string& name);
    void fail(const std::string& name, const std::string& remark);

    ScanPipeline& pipeline_;
    std::uint64_t processBytes_ = 0; ///< of memory copied for the present process
    bool mayMapFiles_ = true;        ///< until /proc/PID/map_files turns out to be closed to us
    std::unordered_map<FileId, std::shared_ptr<ScanOutcome>, FileIdHash> files_;
};

} // namespace vardo
