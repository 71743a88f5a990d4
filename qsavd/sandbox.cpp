#include "qsavd/sandbox.h"

#include "base/uniquefd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>

#include <fcntl.h>
#include <linux/landlock.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qsavd {

namespace {

/// Rights over files that each version of Landlock's interface has (landlock(7)); headers may be older
/// than the kernel.
constexpr std::array<std::uint64_t, 5> knownRights{(1ull << 13) - 1, (1ull << 14) - 1, (1ull << 15) - 1,
                                                   (1ull << 15) - 1, (1ull << 16) - 1};

constexpr std::uint64_t ownRights = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE |
                                    LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                                    LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_DIR |
                                    LANDLOCK_ACCESS_FS_MAKE_REG;
constexpr std::uint64_t truncateRight = 1ull << 14;

/// What a scan was seen to call, and what the C library may put in the place of one of these. Not
/// chmod, which the library tries on what it unpacks: Landlock does not keep it to the directory.
constexpr std::array allowedCalls{SCMP_SYS(access),
                                  SCMP_SYS(brk),
                                  SCMP_SYS(clock_gettime),
                                  SCMP_SYS(clock_nanosleep),
                                  SCMP_SYS(close),
                                  SCMP_SYS(dup),
                                  SCMP_SYS(exit),
                                  SCMP_SYS(exit_group),
                                  SCMP_SYS(faccessat),
                                  SCMP_SYS(faccessat2),
                                  SCMP_SYS(fdatasync),
                                  SCMP_SYS(fstat),
                                  SCMP_SYS(fsync),
                                  SCMP_SYS(ftruncate),
                                  SCMP_SYS(futex),
                                  SCMP_SYS(getcwd),
                                  SCMP_SYS(getdents64),
                                  SCMP_SYS(getegid),
                                  SCMP_SYS(geteuid),
                                  SCMP_SYS(getgid),
                                  SCMP_SYS(getpid),
                                  SCMP_SYS(getrandom),
                                  SCMP_SYS(gettid),
                                  SCMP_SYS(gettimeofday),
                                  SCMP_SYS(getuid),
                                  SCMP_SYS(lseek),
                                  SCMP_SYS(lstat),
                                  SCMP_SYS(madvise),
                                  SCMP_SYS(mkdir),
                                  SCMP_SYS(mkdirat),
                                  SCMP_SYS(mremap),
                                  SCMP_SYS(munmap),
                                  SCMP_SYS(newfstatat),
                                  SCMP_SYS(open),
                                  SCMP_SYS(openat),
                                  SCMP_SYS(pread64),
                                  SCMP_SYS(pwrite64),
                                  SCMP_SYS(read),
                                  SCMP_SYS(readv),
                                  SCMP_SYS(recvmsg),
                                  SCMP_SYS(restart_syscall),
                                  SCMP_SYS(rmdir),
                                  SCMP_SYS(rt_sigaction),
                                  SCMP_SYS(rt_sigprocmask),
                                  SCMP_SYS(rt_sigreturn),
                                  SCMP_SYS(sched_yield),
                                  SCMP_SYS(sendmsg),
                                  SCMP_SYS(sendto),
                                  SCMP_SYS(sigaltstack),
                                  SCMP_SYS(stat),
                                  SCMP_SYS(statx),
                                  SCMP_SYS(sysinfo),
                                  SCMP_SYS(time),
                                  SCMP_SYS(uname),
                                  SCMP_SYS(unlink),
                                  SCMP_SYS(unlinkat),
                                  SCMP_SYS(write),
                                  SCMP_SYS(writev)};

/// The rest of them makes signals for others, or locks.
constexpr std::array allowedFileCommands{F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL};

struct FilterDeleter
{
    void operator()(void* filter) const { seccomp_release(filter); }
};

} // namespace

void confineFiles(const std::string& directory)
{
    const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return;
    landlock_ruleset_attr rules{};
    rules.handled_access_fs =
        knownRights[std::min<std::size_t>(static_cast<std::size_t>(version), knownRights.size()) - 1];
    const base::UniqueFd ruleset(
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0)));
    const base::UniqueFd place(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    landlock_path_beneath_attr own{};
    own.allowed_access = (ownRights | truncateRight) & rules.handled_access_fs;
    own.parent_fd = place.get();
    if (ruleset && place)
        syscall(SYS_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &own, 0);
    // Without its rule the worker can only scan less, and says so.
    if (ruleset)
        syscall(SYS_landlock_restrict_self, ruleset.get(), 0);
}

bool filterSystemCalls()
{
    const std::unique_ptr<void, FilterDeleter> filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
    if (!filter)
        return false;
    for (const int call : allowedCalls) {
        const int code = seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 0);
        if (code != 0 && code != -EDOM) // a call that this machine does not have
            return false;
    }
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mprotect)})
        if (seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, call, 1,
                             SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)) != 0)
            return false;
    for (const int command : allowedFileCommands)
        if (seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, SCMP_SYS(fcntl), 1,
                             SCMP_A1(SCMP_CMP_EQ, static_cast<scmp_datum_t>(command))) != 0)
            return false;
    return seccomp_load(filter.get()) == 0;
}

} // namespace qsavd
