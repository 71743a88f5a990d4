#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "libvardo/scansession.h"

#include <functional>
#include <string>

namespace vardo {

/// Path of the service that is installed with this library; empty when there is none.
std::string serviceProgram();

/// A connection to the running service, over which it has said that it can scan.
struct ServiceLink
{
    base::UniqueFd socket; ///< does not block
    ServiceInfo info;
};

/// Connects with the service of `paths`, which is started if need be, and waits for its signatures.
/// `beat` as for startService; an empty one is not called. Error code ECANCELED when it gave up.
base::Result<ServiceLink> linkToService(const ServicePaths& paths, const std::function<bool()>& beat);

/// Connects with the service of `paths`, which is started if need be, and no more.
base::Result<base::UniqueFd> reachService(const ServicePaths& paths, const std::function<bool()>& beat);

} // namespace vardo
