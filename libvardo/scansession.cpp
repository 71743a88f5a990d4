#include "libvardo/scansession.h"

#include "base/priority.h"
#include "base/systemerror.h"
#include "libvardo/servicelink.h"
#include "libvardo/servicesession.h"

#include <sys/eventfd.h>

namespace vardo {

namespace {

/// More than one a core only for whoever asks for them and may use all cores.
unsigned workerCount(unsigned wanted)
{
    const unsigned cores = base::usableCores();
    return wanted == 0 || (wanted > cores && cores < base::allCores()) ? cores : wanted;
}

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

} // namespace

base::Result<std::unique_ptr<ScanSession>> ScanSession::open(const ServicePaths& paths,
                                                             const SessionOptions& options, Handlers handlers,
                                                             const std::function<bool()>& beat)
{
    const qsavd::Begin begin = beginMessage(options);
    base::UniqueFd wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake)
        return base::systemError();
    auto link = beginSession(paths, begin, beat);
    if (!link)
        return link.error();
    if (handlers.opened)
        handlers.opened(link.value().info);
    return std::unique_ptr<ScanSession>(std::make_unique<ServiceSession>(
        paths, begin, std::move(link.value().socket), std::move(wake), std::move(handlers)));
}

} // namespace vardo
