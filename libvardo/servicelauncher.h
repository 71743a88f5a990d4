#pragma once

#include "base/result.h"
#include "libvardo/scansession.h"

namespace vardo {

/// Starts the service of `paths` as a process of its own session, with nothing of ours but its
/// arguments: no descriptors, no environment. Returns when somebody listens there, be it this service
/// or another that came first. The error says why it does not start.
base::Result<bool> launchService(const ServicePaths& paths);

} // namespace vardo
