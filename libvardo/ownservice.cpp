#include "libvardo/ownservice.h"

#include "base/rundirectory.h"

#include <cstdlib>
#include <string>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vardo {

namespace {

/// A directory of the caller's own that nobody else may write.
bool isPrivate(const std::string& directory)
{
    struct stat status = {};
    return ::lstat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid() && !(status.st_mode & (S_IWGRP | S_IWOTH));
}

/// Where the user's processes keep their sockets: the directory of the session, or without one a directory in
/// /tmp. Empty when somebody else has taken that.
std::string runtimeDirectory()
{
    const std::string user = std::to_string(::geteuid());
    const char* told = std::getenv("XDG_RUNTIME_DIR");
    for (const std::string& session : {std::string(told ? told : ""), "/run/user/" + user}) {
        if (session.starts_with('/') && isPrivate(session))
            return session + "/vardo";
    }
    const std::string shared = "/tmp/vardo-" + user;
    struct stat status = {};
    return ::lstat(shared.c_str(), &status) != 0 || isPrivate(shared) ? shared : "";
}

/// Empty for root, and for who has no home.
std::string settingsDirectory()
{
    const passwd* user = ::geteuid() == 0 ? nullptr : ::getpwuid(::geteuid());
    const bool hasHome = user && user->pw_dir && user->pw_dir[0] == '/';
    return hasHome ? std::string(user->pw_dir) + "/.vardo" : std::string();
}

/// Empty for root, and for who has no home. A user whose windows run on the installation's settings has none
/// of those, and gets no socket where they would be.
std::string ownDirectory()
{
    const std::string settings = settingsDirectory();
    if (settings.empty())
        return {};
    const bool used = isPrivate(settings) && ::access((settings + "/vardo.conf").c_str(), F_OK) == 0;
    const std::string runtime = used ? "" : runtimeDirectory();
    return runtime.empty() ? settings : runtime;
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

void leaveRootsMemory(std::string& directory)
{
    if (::geteuid() != 0 && directory == paths::rememberedFiles)
        directory = settingsDirectory();
}

void makePlace(const ServicePaths& paths)
{
    const std::string directory = ownDirectory();
    if (!directory.empty() && paths.socket == directory + "/qsav")
        ::mkdir(directory.c_str(), 0700);
    else if (::geteuid() == 0)
        base::makeRunDirectory();
}

} // namespace vardo
