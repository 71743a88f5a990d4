#include "libvardo/ownservice.h"

#include "base/rundirectory.h"
#include "installation/installation.h"

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

/// In the user's home; empty for root, and for who has none.
std::string atHome(const char* name)
{
    const passwd* user = ::geteuid() == 0 ? nullptr : ::getpwuid(::geteuid());
    const bool hasHome = user && user->pw_dir && user->pw_dir[0] == '/';
    return hasHome ? std::string(user->pw_dir) + name : std::string();
}

std::string settingsDirectory()
{
    return atHome("/.vardo");
}

/// Where the user's programs keep what can be had again, by default or by XDG_CACHE_HOME, which desktops set;
/// made if missing.
std::string cacheDirectory()
{
    const char* told = std::getenv("XDG_CACHE_HOME");
    const std::string caches = told && told[0] == '/' ? told : atHome("/.cache");
    if (caches.empty())
        return {};
    ::mkdir(caches.c_str(), 0700);
    return caches + "/vardo";
}

/// Where something of the user's may lie for good.
std::string lastingDirectory()
{
    return get_Vardo_version() == INSTALLATION_SHARED_CONF ? cacheDirectory() : settingsDirectory();
}

/// Empty for root, and for who has no home. A user whose windows run on the installation's settings has none
/// of those, and gets no socket where they would be.
std::string ownDirectory()
{
    const std::string settings = settingsDirectory();
    if (settings.empty() || (isPrivate(settings) && ::access((settings + "/vardo.conf").c_str(), F_OK) == 0))
        return settings;
    const std::string runtime = runtimeDirectory();
    return runtime.empty() ? lastingDirectory() : runtime;
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
        directory = lastingDirectory();
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
