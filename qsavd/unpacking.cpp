#include "qsavd/unpacking.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qsavd {

namespace {

int firstFailure = 0;

/// Keeps why a call `failed`; what is only to be read may be missing or forbidden.
template <class Value>
Value noted(Value result, bool failed, bool reads = false)
{
    const bool shortage = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
    const bool counts = reads ? shortage : errno != EEXIST && errno != EINTR;
    if (failed && counts && firstFailure == 0)
        firstFailure = errno;
    return result;
}

template <class Function>
Function realFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

// Looked for at the first call, which seesWrites() makes while libraries may still be opened.

auto realOpen()
{
    static const auto real = realFunction<std::FILE* (*)(const char*, const char*)>("fopen64");
    return real;
}

auto realWrite()
{
    static const auto real =
        realFunction<std::size_t (*)(const void*, std::size_t, std::size_t, std::FILE*)>("fwrite");
    return real;
}

auto realClose()
{
    static const auto real = realFunction<int (*)(std::FILE*)>("fclose");
    return real;
}

} // namespace

void forgetFailedWrites()
{
    firstFailure = 0;
}

int failedWrite()
{
    return firstFailure;
}

bool seesWrites()
{
    return ::dlsym(RTLD_DEFAULT, "fwrite") == reinterpret_cast<void*>(&::fwrite) && realOpen() &&
           realWrite() && realClose();
}

} // namespace qsavd

// In the places of the C library's own.

#pragma GCC visibility push(default)
extern "C" {

int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t); // whatever is there, when it counts for nothing
    va_end(arguments);
    const auto file = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    return qsavd::noted(file, file < 0, (flags & O_ACCMODE) == O_RDONLY);
}

ssize_t write(int file, const void* data, size_t size)
{
    const ssize_t written = ::syscall(SYS_write, file, data, size);
    return qsavd::noted(written, written < 0);
}

int mkdir(const char* path, mode_t mode) noexcept
{
    const auto made = static_cast<int>(::syscall(SYS_mkdirat, AT_FDCWD, path, mode));
    return qsavd::noted(made, made != 0);
}

FILE* fopen64(const char* path, const char* mode)
{
    FILE* const file = qsavd::realOpen()(path, mode);
    return qsavd::noted(file, !file, std::strpbrk(mode, "wa+") == nullptr);
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* file)
{
    const size_t written = qsavd::realWrite()(data, size, count, file);
    return qsavd::noted(written, size != 0 && written != count);
}

/// Writes what waits in memory; what waited before and did not fit is gone without a word.
int fclose(FILE* file)
{
    const bool lost = ::ferror(file) != 0;
    const int failure = qsavd::realClose()(file);
    if (lost)
        errno = EIO;
    return qsavd::noted(failure, lost || failure != 0);
}

} // extern "C"
#pragma GCC visibility pop
