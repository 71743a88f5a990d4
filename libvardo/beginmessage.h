#pragma once

#include "libvardo/scansession.h"
#include "protocol/protocol.h"

namespace vardo {

/// What a session asks the service for: these options, at the priority of the calling thread.
qsavd::Begin beginMessage(const SessionOptions& options);

} // namespace vardo
