#include "libvardo/beginmessage.h"

#include "base/priority.h"

namespace vardo {

namespace {

/// More than one a core only for whoever asks for them and may use all cores.
unsigned workerCount(unsigned wanted)
{
    const unsigned cores = base::usableCores();
    return wanted == 0 || (wanted > cores && cores < base::allCores()) ? cores : wanted;
}

} // namespace

qsavd::Begin beginMessage(const SessionOptions& options)
{
    const base::Priority priority = base::ownPriority();
    qsavd::Begin begin;
    begin.flags = (options.archives ? qsavd::ScanArchives : 0u) | (options.mails ? qsavd::ScanMails : 0u) |
                  (options.packed ? qsavd::ScanPacked : 0u) |
                  (options.heuristics ? qsavd::ScanHeuristics : 0u);
    begin.workers = workerCount(options.workers);
    begin.nice = static_cast<std::int16_t>(priority.nice);
    begin.ioPriority = static_cast<std::uint16_t>(priority.io);
    begin.policy = static_cast<std::uint32_t>(priority.policy);
    begin.maxRecursion = options.maxRecursion;
    begin.maxFiles = options.maxFiles;
    begin.maxSeconds = options.maxSeconds;
    begin.maxFileSize = options.maxFileSize;
    begin.maxScanSize = options.maxScanSize;
    return begin;
}

} // namespace vardo
