#include "libvardo/scansession.h"

#include "base/systemerror.h"
#include "libvardo/beginmessage.h"
#include "libvardo/servicelink.h"
#include "libvardo/servicesession.h"

#include <sys/eventfd.h>

namespace vardo {

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
