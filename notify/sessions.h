#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace notify {

/// The bus of a person's session.
struct SessionBus
{
    uid_t user;
    gid_t group;
    std::string address; ///< as D-Bus writes it
};

/// The buses of all people with graphical sessions; where nobody keeps account of sessions, of all people
/// with a bus.
std::vector<SessionBus> graphicalSessions();

} // namespace notify
