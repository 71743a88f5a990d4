#pragma once

#include "protocol/message.h"

#include <cstdint>
#include <cstring>

namespace qsavd {

/// What the process that listens and those that hold a set of signatures say to each other, over a
/// SOCK_SEQPACKET pair. They are forks of one program, so there is no version.

/// From a process that holds a set. The first one says that it has loaded.
struct SetState
{
    std::uint32_t usable = 0; ///< 0: nothing can be scanned with the set
    std::uint32_t sessions = 0;
};

/// To a process that holds a set, with a client's connection to serve. The end of these says that no more
/// will come.
struct ClientNotice
{
    std::uint32_t unused = 0;
};

/// Reads `message` as a T; false when it is none.
template <class T>
bool readNotice(const Message& message, T& notice)
{
    if (message.size != sizeof(T))
        return false;
    std::memcpy(&notice, message.bytes.data(), sizeof(T));
    return true;
}

} // namespace qsavd
