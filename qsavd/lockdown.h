#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace qsavd {

/// Whom root's service becomes before it reads anything: the user "qsavd" that the package makes, without any
/// right; nobody where there is none.
struct Identity
{
    uid_t user = 0;
    gid_t group = 0;
};
Identity serviceIdentity();

/// Becomes that user, when root. False when it fails.
bool giveUpRoot(const Identity& identity);

/// Closes every descriptor of the process but `socket`, which becomes descriptor 3, and the standard
/// ones, which lead to /dev/null. Returns the new number.
int keepOnly(int socket);

/// Gives up, for good, what a worker does not need: new privileges, core dumps and debuggers, memory beyond
/// `largestFile` and a margin, writing files larger than `largestUnpacked`, files outside `directory`, system
/// calls that scanning does not take. It dies with `parent`. False when something of that fails; only the
/// confinement to `directory` depends on the kernel.
bool lockDown(const std::string& directory, pid_t parent, std::uint64_t largestFile,
              std::uint64_t largestUnpacked);

} // namespace qsavd
