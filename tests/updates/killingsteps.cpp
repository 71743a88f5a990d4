// Loaded before the C library into a program under test: kills its process group before the step that
// VARDO_KILL_AT counts to, where a step changes what lies in a directory or waits for the disk. With
// VARDO_NO_EXCHANGE two directories cannot be exchanged.

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

int stepsLeft = 0;
bool noExchange = false;

[[gnu::constructor]] void readEnvironment()
{
    const char* steps = std::getenv("VARDO_KILL_AT");
    stepsLeft = steps ? std::atoi(steps) : 0;
    noExchange = std::getenv("VARDO_NO_EXCHANGE") != nullptr;
}

template <class... Values>
int step(const char* name, Values... values)
{
    if (stepsLeft > 0 && --stepsLeft == 0)
        ::kill(0, SIGKILL);
    return reinterpret_cast<int (*)(Values...)>(::dlsym(RTLD_NEXT, name))(values...);
}

} // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int renameat2(int from, const char* name, int to, const char* newName, unsigned flags) noexcept
{
    if (noExchange && flags != 0) {
        errno = EXDEV;
        return -1;
    }
    return step("renameat2", from, name, to, newName, flags);
}

EXPORTED int renameat(int from, const char* name, int to, const char* newName) noexcept
{
    return step("renameat", from, name, to, newName);
}

EXPORTED int linkat(int from, const char* name, int to, const char* newName, int flags) noexcept
{
    return step("linkat", from, name, to, newName, flags);
}

EXPORTED int unlinkat(int directory, const char* name, int flags) noexcept
{
    return step("unlinkat", directory, name, flags);
}

EXPORTED int mkdirat(int directory, const char* name, mode_t mode) noexcept
{
    return step("mkdirat", directory, name, mode);
}

EXPORTED int fsync(int file)
{
    return step("fsync", file);
}
