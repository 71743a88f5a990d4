#pragma once

#include "libvardo/scansession.h"

namespace vardo {

/// The installation's service is root's alone. A user whose configuration names that one gets the place that
/// a configuration of the user's own would have, or, without such a configuration, one where the sockets of
/// the session are.
void leaveRootsService(ServicePaths& paths);

/// The same for the memory of clean files in `directory`: a user's is among the user's settings, or, where
/// users have none of their own, among the user's caches.
void leaveRootsMemory(std::string& directory);

/// Makes the directory of a user's own service, or of root's, if it is missing. Starting the service tells
/// when it failed.
void makePlace(const ServicePaths& paths);

} // namespace vardo
