#pragma once

#include "base/result.h"
#include "libvardo/callwatch.h"
#include "libvardo/scanpipeline.h"
#include "libvardo/scanreporter.h"
#include "libvardo/walker.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vardo {

/// How a scan ended.
struct ScanEnd
{
    bool cancelled = false;
    unsigned recordFailures = 0;
};

/// What feeds a pipeline. Its thread may block for ever in a call: then another one goes on.
class ScanSource
{
  public:
    virtual ~ScanSource() = default;
    /// Feeds everything.
    virtual void feed() = 0;
    /// Feeds what is left when the thread before was given up in a call, after telling `remark` of the object
    /// that this was about.
    virtual void goOn(const std::string& remark) = 0;
};

/// Makes the source of a scan, which makes all its calls that may block through the watch.
using SourceFactory = std::function<std::unique_ptr<ScanSource>(ScanPipeline&, CallWatch&)>;

/// Feeds `objects`, which are files and directories.
SourceFactory fileSource(std::vector<std::string> objects, WalkOptions options);
/// Feeds the running processes, or with `all` false those of the caller's user.
SourceFactory processSource(bool all);

/// Runs one scan, with what is known from earlier ones by `memory`: a thread of its own opens the session and
/// then feeds the pipeline, while the calling thread reports. An object that keeps that thread in one call
/// for longer than one file may take gets an ERROR. Whatever happens after the front-end asked to stop is no
/// failure; a thread that is in such a call then is left behind, so that this returns soon.
base::Result<ScanEnd> runScan(const SessionFactory& openSession, const SessionOptions& options,
                              const SourceFactory& makeSource, ScanReporter& reporter,
                              const RememberSettings& memory = {});

} // namespace vardo
