#include "libvardo/ownservice.h"

#include "base/paths.h"

#include <string>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vardo {

namespace {

/// Empty for root, and for who has no home.
std::string ownDirectory()
{
    const passwd* user = ::geteuid() == 0 ? nullptr : ::getpwuid(::geteuid());
    return user && user->pw_dir && user->pw_dir[0] == '/' ? std::string(user->pw_dir) + "/.vardo" : "";
}

} // namespace

void leaveRootsService(ServicePaths& paths)
{
    const std::string directory = paths.socket == paths::serviceSocket ? ownDirectory() : "";
    if (directory.empty())
        return;
    paths.socket = directory + "/qsav";
    paths.pidFile = directory + "/qsav.pid";
}

void makePlace(const ServicePaths& paths)
{
    const std::string directory = ownDirectory();
    if (!directory.empty() && paths.socket == directory + "/qsav")
        ::mkdir(directory.c_str(), 0700);
}

} // namespace vardo
