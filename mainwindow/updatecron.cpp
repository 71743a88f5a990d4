#include "mainwindow/updatecron.h"

#include "base/uniquefd.h"
#include "mainwindow/command.h"
#include "shell/paths.h"
#include "shell/smallfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool writeUpdateCrontab(std::optional<QTime> time)
{
    // The directory is open to others, so the file may be no link and have no second name.
    const base::UniqueFd file(
        open(paths::updateCrontab, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
    struct stat info;
    if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1 ||
        ftruncate(file.get(), 0) != 0)
        return false;
    if (time) {
        writeAll(file.get(), std::to_string(time->minute()) + ' ' + std::to_string(time->hour()) + " * * * " +
                                 paths::runAsRoot + "  " + paths::updateNow + " 2>&1 |tee -a " +
                                 paths::autoUpdateLog + "\n");
    }
    return true;
}

void installUpdateCrontab()
{
    runCommand({paths::runAsRoot, "/usr/bin/touch", paths::updateCrontab});
    runCommand({paths::runAsRoot, "/bin/chown", "qsconf:qsconf", paths::updateCrontab});
    runCommand({paths::runAsRoot, "/usr/bin/crontab", paths::updateCrontab, "-u", "qsconf"});
}

bool restartCron()
{
    constexpr const char* scripts[] = {"/etc/init.d/crond", "/etc/init.d/cron"};
    const char* script = scripts[access(scripts[0], X_OK) == 0 ? 0 : 1];
    return runCommand({paths::runAsRoot, script, "restart"}) >= 0;
}
