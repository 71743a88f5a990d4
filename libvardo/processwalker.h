#pragma once

#include "libvardo/callwatch.h"
#include "libvardo/processmaps.h"
#include "libvardo/scanpipeline.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <sys/types.h>

namespace vardo {

/// Feeds what the running processes execute to a pipeline: their programs, the files that they have
/// mapped as code, and the code in their memory that comes from no file.
///
/// For each process come its parts, then one Process item named "PID PROGRAM". A file that several
/// processes use is scanned once. Processes that the caller may not look into, and kernel threads, are
/// passed over; one that ends meanwhile, or closes itself to the caller, is a LostProcess and no error.
/// Runs on one thread at a time.
class ProcessWalker
{
  public:
    /// With `all` false it takes the processes of the caller's user alone. All calls that may block are made
    /// through `watch`.
    ProcessWalker(ScanPipeline& pipeline, CallWatch& watch, bool all);

    void walk();

    /// Goes on with the next process for a thread that was given up in a call, after telling `remark` of the
    /// present one.
    void goOn(const std::string& remark);

  private:
    void listProcesses();
    void walkProcesses();
    void visit(pid_t pid, int directory);
    void visitMapping(int process, const CodeMapping& mapping);
    void pushFile(base::UniqueFd file, const std::string& name);
    base::UniqueFd openFile(int process, const std::string& link, struct stat& status);
    base::UniqueFd openMapped(int process, const CodeMapping& mapping);
    void pushMemory(int process, const CodeMapping& mapping);
    void pushPiece(base::UniqueFd copy, const std::string& name);
    void fail(const std::string& name, const std::string& remark);

    ScanPipeline& pipeline_;
    CallWatch& watch_;
    Remembering& remembering_;
    const std::shared_ptr<ScanOutcome> clean_; ///< of files that are remembered
    const bool all_;
    std::vector<pid_t> processes_;
    std::size_t next_ = 0;           ///< of processes_
    std::string present_;            ///< what the next call is about, as a Process item names it
    std::uint64_t processBytes_ = 0; ///< of memory copied for the present process
    bool mayMapFiles_ = true;        ///< until /proc/PID/map_files turns out to be closed to us
    std::unordered_map<FileId, std::shared_ptr<ScanOutcome>, FileIdHash> files_;
};

} // namespace vardo
