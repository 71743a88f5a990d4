#pragma once

#include "base/result.h"
#include "base/uniquefd.h"
#include "libvardo/scansession.h"
#include "protocol/protocol.h"

#include <functional>
#include <optional>
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

/// Connects with the service of `paths`, which is started if need be, and waits for its signatures. One
/// that gives no sign of life for as long as `paths` say is killed and replaced, if it is ours.
/// `beat` as for startService; an empty one is not called. Error code ECANCELED when it gave up.
base::Result<ServiceLink> linkToService(const ServicePaths& paths, const std::function<bool()>& beat);

/// The same, and asks for a session's workers.
base::Result<ServiceLink> beginSession(const ServicePaths& paths, const qsavd::Begin& begin,
                                       const std::function<bool()>& beat);

/// What the service of `paths` says of itself, if one runs and has loaded; waits for no more than a moment.
std::optional<ServiceInfo> askRunningService(const ServicePaths& paths);

/// Connects with the service of `paths`, which is started if need be, and no more.
base::Result<base::UniqueFd> reachService(const ServicePaths& paths, const std::function<bool()>& beat);

} // namespace vardo
