#pragma once

#include "base/result.h"
#include "libvardo/scanpipeline.h"
#include "libvardo/scanreporter.h"
#include "libvardo/walker.h"

#include <functional>
#include <string>
#include <vector>

namespace vardo {

/// How a scan ended.
struct ScanEnd
{
    bool cancelled = false;
    unsigned recordFailures = 0;
};

/// Runs one scan: a thread of its own opens the session and then feeds the pipeline with `produce`, while
/// the calling thread reports. Whatever happens after the front-end asked to stop is no failure.
base::Result<ScanEnd> runScan(const SessionFactory& openSession, const SessionOptions& options,
                              const std::function<void(ScanPipeline&)>& produce, ScanReporter& reporter);

/// Runs a scan of `objects`.
base::Result<ScanEnd> runFileScan(const SessionFactory& openSession, const SessionOptions& options,
                                  const std::vector<std::string>& objects, const WalkOptions& walk,
                                  ScanReporter& reporter);

} // namespace vardo
