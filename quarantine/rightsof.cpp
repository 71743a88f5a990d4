#include "quarantine/rightsof.h"

#include <cstdlib>
#include <memory>
#include <string>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace quarantine {

namespace {

constexpr gid_t nobodysGroup = 65534;

/// Whoever is not in the user database has no group.
bool takeGroups(uid_t user)
{
    std::vector<char> buffer(65'536);
    passwd entry = {};
    passwd* found = nullptr;
    if (::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return ::initgroups(found->pw_name, found->pw_gid) == 0 && ::setegid(found->pw_gid) == 0;
    return ::setgroups(0, nullptr) == 0 && ::setegid(nobodysGroup) == 0;
}

} // namespace

RightsOf::RightsOf(uid_t user)
{
    if (::geteuid() != 0 || user == 0)
        return;
    changed_ = remember();
    taken_ = changed_ && takeGroups(user) && ::seteuid(user) == 0;
}

RightsOf::~RightsOf()
{
    if (changed_ && !giveBack())
        std::abort();
}

/// Also finds out whether groups can be changed at all: in some containers root cannot.
bool RightsOf::remember()
{
    group_ = ::getegid();
    const int count = ::getgroups(0, nullptr);
    if (count < 0)
        return false;
    groups_.resize(static_cast<std::size_t>(count));
    return ::getgroups(count, groups_.data()) == count && ::setgroups(groups_.size(), groups_.data()) == 0;
}

bool RightsOf::giveBack()
{
    return ::seteuid(0) == 0 && ::setegid(group_) == 0 && ::setgroups(groups_.size(), groups_.data()) == 0;
}

} // namespace quarantine
