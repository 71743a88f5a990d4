#pragma once

#include "base/result.h"
#include "libvardo/scansession.h"

#include <functional>

namespace vardo {

constexpr int beatMilliseconds = 100; ///< between two beats while the service is waited for

/// The error of a start that was given up: code ECANCELED.
base::Error startCancelled();

/// Starts the service of `paths` as a process of its own session. It gets arguments alone: no descriptors,
/// no environment. Returns when somebody listens there, be it this service
/// or another that came first. The error says why it does not start. `beat` as for startService.
base::Result<bool> launchService(const ServicePaths& paths, const std::function<bool()>& beat);

} // namespace vardo
