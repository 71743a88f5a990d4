#pragma once

#include <vector>

#include <sys/types.h>

namespace quarantine {

/// Gives root's process the rights of somebody else, groups included, for as long as this lives. For root
/// itself and in a process that is not root's it does nothing.
class RightsOf
{
  public:
    explicit RightsOf(uid_t user);
    RightsOf(const RightsOf&) = delete;
    RightsOf& operator=(const RightsOf&) = delete;
    /// Ends the process if it cannot have its own rights back.
    ~RightsOf();

    /// False when the change failed; nothing may be done then.
    explicit operator bool() const { return taken_; }

  private:
    bool remember();
    bool giveBack();

    bool changed_ = false;
    bool taken_ = true;
    gid_t group_ = 0;
    std::vector<gid_t> groups_;
};

} // namespace quarantine
