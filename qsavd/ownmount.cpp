#include "qsavd/ownmount.h"

#include "base/plainfile.h"

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qsavd {

namespace {

void write(const char* path, const std::string& text)
{
    const base::UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
    if (file)
        base::writeAll(file.get(), text);
}

/// In a user namespace everybody may mount for himself. Who we are outside we stay inside.
bool leaveMounts(uid_t user, gid_t group)
{
    if (geteuid() == 0)
        // What is unmounted outside goes here too, lest a medium is kept busy; and nothing gets out.
        return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) == 0;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    const std::string users = std::to_string(user) + " " + std::to_string(user) + " 1";
    const std::string groups = std::to_string(group) + " " + std::to_string(group) + " 1";
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", users);
    write("/proc/self/gid_map", groups);
    return true;
}

/// Without the rights over its own namespace that it has got with it.
void giveUpRights()
{
    __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> none{};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || syscall(SYS_capset, &head, none.data()) != 0)
        std::abort();
}

} // namespace

bool mountOwn(const std::string& directory, uid_t user, gid_t group, unsigned kilobytes)
{
    const bool root = geteuid() == 0;
    if (!leaveMounts(user, group))
        return false;
    std::string options = "mode=0700,uid=" + std::to_string(user) + ",gid=" + std::to_string(group) +
                          (kilobytes == 0 ? ",size=50%" : ",size=" + std::to_string(kilobytes) + "k");
    const bool mounted =
        mount("vardo", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, options.c_str()) == 0;
    if (!root)
        giveUpRights();
    return mounted;
}

} // namespace qsavd
