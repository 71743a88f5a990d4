#include "tools/vardonotify/opening.h"

#include "base/paths.h"
#include "notify/notify.h"

#include <csignal>

#include <spawn.h>
#include <unistd.h>

namespace {

constexpr char opener[] = "xdg-open";

/// Of a session of its own, with the usual signals.
void start(const char* program, const char* argument)
{
    char* const arguments[] = {const_cast<char*>(program), const_cast<char*>(argument), nullptr};
    sigset_t all;
    ::sigfillset(&all);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    ::posix_spawnp(&child, program, nullptr, &attributes, arguments, environ);
    ::posix_spawnattr_destroy(&attributes);
}

} // namespace

bool mayOpen(const std::string& what)
{
    return what == notify::window || (what.starts_with('/') && ::access(what.c_str(), R_OK) == 0);
}

void open(const std::string& what)
{
    if (what == notify::window)
        start(paths::vardoGui, nullptr);
    else
        start(opener, what.c_str());
}
