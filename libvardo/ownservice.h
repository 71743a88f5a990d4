#pragma once

#include "libvardo/scansession.h"

namespace vardo {

/// The installation's service is root's. A user whose configuration names no other has one in the same
/// place as the user's own configuration would say, or, without such a configuration, where sockets of the
/// session are.
void leaveRootsService(ServicePaths& paths);

/// Makes the directory of a user's own service, if it is missing. Starting the service tells when it failed.
void makePlace(const ServicePaths& paths);

} // namespace vardo
