#include "mainwindow/confowner.h"

#include "base/uniquefd.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

void giveToConfOwner(const char* path)
{
    constexpr char owner[] = "qsconf";
    const passwd* user = getpwnam(owner);
    const group* members = getgrnam(owner);
    if (!user || !members)
        return;
    const base::UniqueFd file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info;
    if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1)
        return;
    [[maybe_unused]] const int result = fchown(file.get(), user->pw_uid, members->gr_gid);
}
