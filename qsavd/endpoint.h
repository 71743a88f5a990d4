#pragma once

#include "base/result.h"
#include "base/uniquefd.h"

#include <string>

namespace qsavd {

/// A name in a directory that is held open, so that whoever renames directories meanwhile changes
/// nothing for us.
class Place
{
  public:
    /// Splits `path`, which must be absolute, and opens its directory.
    static base::Result<Place> open(const std::string& path);

    int directory() const { return directory_.get(); }
    const char* name() const { return name_.c_str(); }

  private:
    base::UniqueFd directory_;
    std::string name_;
};

/// The file that holds the service's process id; its lock makes the service the only one of its place.
class PidFile
{
  public:
    /// Creates or takes over the file and locks it. Error code EWOULDBLOCK when another service has
    /// it. Takes over only what is sure to be a pid file that we left: a plain file of ours with a
    /// single name and a number in it.
    static base::Result<PidFile> acquire(const std::string& path);

    /// Writes our process id.
    bool record() const;
    /// Deletes the file, if it is still ours.
    void remove() const;
    /// Deletes it likewise, and leaves its place to another service.
    void release();

  private:
    Place place_;
    base::UniqueFd file_;
};

/// The unix socket on which the service listens.
class Listener
{
  public:
    /// Binds a socket of mode 0600 and listens. Replaces only a socket of our own user; the caller
    /// holds the pid file, so that nobody listens there any more.
    static base::Result<Listener> listen(const std::string& path);

    int descriptor() const { return socket_.get(); }
    /// Deletes the socket, if it is still ours, and stops listening.
    void close();

  private:
    Place place_;
    base::UniqueFd socket_;
    ino_t inode_ = 0;
    dev_t device_ = 0;
};

} // namespace qsavd
