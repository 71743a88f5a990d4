#pragma once

#include "base/uniquefd.h"
#include "protocol/protocol.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include <sys/socket.h>

namespace qsavd {

/// One message as it came in.
struct Message
{
    std::array<std::byte, maxMessage> bytes;
    std::size_t size = 0;
    std::vector<base::UniqueFd> fds;

    std::span<const std::byte> data() const { return {bytes.data(), size}; }
};

enum class Receive { Message, Nothing, Closed };

/// True when the process at the other end of a unix socket runs under our user id.
inline bool peerIsSameUser(int socket)
{
    ucred peer{};
    socklen_t length = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && length == sizeof peer &&
           peer.uid == geteuid();
}

/// Sends one message, never half of one, and never raises SIGPIPE. Returns 0 or an errno value.
inline int sendMessage(int socket, std::span<const std::byte> data, std::span<const int> fds = {},
                       int flags = 0)
{
    alignas(cmsghdr) std::array<char, CMSG_SPACE(maxBatchFiles * sizeof(int))> control{};
    iovec part{const_cast<std::byte*>(data.data()), data.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (!fds.empty()) {
        if (fds.size() > maxBatchFiles)
            return EINVAL;
        header.msg_control = control.data();
        header.msg_controllen = CMSG_SPACE(fds.size_bytes());
        cmsghdr* rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(fds.size_bytes());
        std::memcpy(CMSG_DATA(rights), fds.data(), fds.size_bytes());
    }
    while (sendmsg(socket, &header, flags | MSG_NOSIGNAL) < 0)
        if (errno != EINTR)
            return errno;
    return 0;
}

/// Takes over the descriptors that came with a message.
inline void adoptDescriptors(msghdr& header, std::vector<base::UniqueFd>& fds)
{
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c; c = CMSG_NXTHDR(&header, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(c) + i * sizeof(int), sizeof fd);
            fds.emplace_back(fd);
        }
    }
}

/// Receives one message. A message that is too long, or brings more descriptors than we allow, counts
/// as the end of the conversation.
inline Receive receiveMessage(int socket, Message& message, int flags = 0)
{
    alignas(cmsghdr) std::array<char, CMSG_SPACE(maxBatchFiles * sizeof(int))> control{};
    iovec part{message.bytes.data(), message.bytes.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    message.fds.clear();
    ssize_t got = 0;
    // A peer that ends with unread messages is told of once, ahead of what it still sent.
    do
        got = recvmsg(socket, &header, flags | MSG_CMSG_CLOEXEC);
    while (got < 0 && (errno == EINTR || errno == ECONNRESET));
    if (got < 0)
        return errno == EAGAIN || errno == EWOULDBLOCK ? Receive::Nothing : Receive::Closed;
    adoptDescriptors(header, message.fds);
    if (got == 0 || (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        return Receive::Closed;
    message.size = static_cast<std::size_t>(got);
    return Receive::Message;
}

/// The bytes of one of the fixed-size messages.
template <class T>
std::span<const std::byte> asBytes(const T& message)
{
    static_assert(std::is_trivially_copyable_v<T>);
    return std::as_bytes(std::span(&message, 1));
}

/// Reads `data` as a T, which has a fixed size; false when it is none.
template <class T>
bool parse(std::span<const std::byte> data, T& message)
{
    static_assert(std::is_trivially_copyable_v<T>);
    const Kind expected = T{}.kind;
    if (data.size() != sizeof(T))
        return false;
    std::memcpy(&message, data.data(), sizeof(T));
    return message.kind == expected;
}

/// Writes `text` into a fixed field, cut where it must be, always terminated.
template <std::size_t N>
void setText(char (&field)[N], std::string_view text)
{
    const std::size_t length = std::min(text.size(), N - 1);
    std::copy_n(text.data(), length, field);
    field[length] = '\0';
}

/// Reads a fixed field, terminated or not.
template <std::size_t N>
std::string_view getText(const char (&field)[N])
{
    return {field, strnlen(field, N)};
}

} // namespace qsavd
