#pragma once

#include "base/uniquefd.h"
#include "qsavd/signaturefiles.h"

#include <map>
#include <string>
#include <utility>

#include <sys/types.h>

namespace qsavd {

/// Tells when the signature directories, or the service's own program, may have become others.
class SignatureWatch
{
  public:
    explicit SignatureWatch(SignaturePlaces places);

    /// An inotify descriptor; readable when something happened in the directories or in their parents, in
    /// which an update exchanges them. -1 where the system has none left.
    int descriptor() const { return inotify_.get(); }
    /// Takes what `descriptor` tells of.
    void readEvents();

    /// What the directories hold now: differs when a file of them is another one.
    std::string fingerprint() const;
    /// True when the program at our path is not the one that we run any more.
    bool programChanged() const;

  private:
    void watchAll();
    void watch(const std::string& path);

    SignaturePlaces places_;
    base::UniqueFd inotify_;
    std::map<std::string, int> watches_;
    std::string program_;              ///< path of our own program
    std::pair<dev_t, ino_t> identity_; ///< of the program when we started
};

} // namespace qsavd
