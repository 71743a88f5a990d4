#pragma once

#include "base/uniquefd.h"
#include "protocol/message.h"
#include "tests/fuzz/demand.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>

#include <sys/socket.h>

/// Two ends of a connection.
struct Ends
{
    Ends()
    {
        int fds[2];
        demand(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds) == 0,
               "socketpair");
        ours = base::UniqueFd(fds[0]);
        theirs = base::UniqueFd(fds[1]);
    }
    base::UniqueFd ours;
    base::UniqueFd theirs;
};

/// The messages of an input: each begins with a byte that tells who gets it and how many descriptors come
/// along, and two of its length.
inline void forEachMessage(std::span<const std::uint8_t> input,
                           const std::function<void(unsigned who, std::span<const std::byte> bytes)>& take)
{
    while (input.size() > 3) {
        const unsigned who = input[0];
        const std::size_t length = std::min<std::size_t>(input[1] + 256u * input[2], input.size() - 3);
        take(who, std::as_bytes(input.subspan(3, length)));
        input = input.subspan(3 + length);
    }
}
