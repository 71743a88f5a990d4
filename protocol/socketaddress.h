#pragma once

#include <cstddef>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>

namespace qsavd {

/// The address of a unix socket by an open directory and a name in it. So a long path fits, and the
/// directory cannot be exchanged on the way.
class SocketAddress
{
  public:
    SocketAddress(int directory, const std::string& name)
    {
        const std::string path = "/proc/self/fd/" + std::to_string(directory) + "/" + name;
        fits_ = path.size() < sizeof address_.sun_path;
        address_.sun_family = AF_UNIX;
        path.copy(address_.sun_path, sizeof address_.sun_path - 1);
    }

    bool fits() const { return fits_; }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
    socklen_t length() const { return sizeof address_; }

  private:
    sockaddr_un address_{};
    bool fits_ = false;
};

} // namespace qsavd
