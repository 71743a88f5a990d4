#pragma once

#include "base/uniquefd.h"

namespace updater {

/// Why an update is to end early: a signal, the caller's word, or the caller's end. Signals stay blocked
/// while this object lives.
class Interruption
{
  public:
    /// `caller` is a socket whose other end says `stop`, or is closed; -1: there is none.
    explicit Interruption(int caller);

    /// True from the first word on. Never waits.
    bool interrupted();

    /// Waits until the open `file` has something to read, at most so long, or until interrupted. True when it
    /// has.
    bool wait(int file, int milliseconds);

  private:
    base::UniqueFd signals_;
    int caller_;
    bool interrupted_ = false;
};

} // namespace updater
