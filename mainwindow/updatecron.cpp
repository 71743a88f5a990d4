#include "mainwindow/updatecron.h"

#include "base/command.h"
#include "base/paths.h"
#include "base/plainfile.h"

#include <fcntl.h>
#include <unistd.h>

bool writeUpdateCrontab(std::optional<QTime> time)
{
    const base::UniqueFd file = base::openPlainFile(AT_FDCWD, paths::updateCrontab, O_RDWR | O_CREAT, 0666);
    if (!file || ftruncate(file.get(), 0) != 0)
        return false;
    if (time) {
        base::writeAll(file.get(), std::to_string(time->minute()) + ' ' + std::to_string(time->hour()) +
                                       " * * * " + paths::runAsRoot + "  " + paths::updateNow +
                                       " 2>&1 |tee -a " + paths::autoUpdateLog + "\n");
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
