#include "installation/membership.h"

#include <algorithm>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

constexpr char groupName[] = "qsconf";

bool isInSession(gid_t group)
{
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(::getgroups(0, nullptr), 0)));
    const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
    return ::getegid() == group || std::find(groups.begin(), groups.begin() + std::max(count, 0), group) !=
                                       groups.begin() + std::max(count, 0);
}

bool isListed(const group& members, const std::string& user)
{
    for (char** member = members.gr_mem; member && *member; ++member) {
        if (user == *member)
            return true;
    }
    return false;
}

} // namespace

std::string membershipHint()
{
    const group* members = ::geteuid() == 0 ? nullptr : ::getgrnam(groupName);
    if (!members || isInSession(members->gr_gid))
        return {};
    const passwd* self = ::getpwuid(::geteuid());
    const std::string user = self ? self->pw_name : "USER";
    if (isListed(*members, user))
        return "you are a member of the group qsconf from your next login on";
    return "you are not in the group qsconf; root can change that with 'adduser " + user +
           " qsconf', from the next login on";
}
