#include "mainwindow/confowner.h"

#include "base/plainfile.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>

void giveToConfOwner(const char* path)
{
    constexpr char owner[] = "qsconf";
    const passwd* user = getpwnam(owner);
    const group* members = getgrnam(owner);
    if (!user || !members)
        return;
    if (const base::UniqueFd file = base::openPlainFile(AT_FDCWD, path, O_RDONLY)) [[maybe_unused]]
        const int result = fchown(file.get(), user->pw_uid, members->gr_gid);
}
