#include "mainwindow/quarantinelocation.h"

#include "base/paths.h"
#include "base/plainfile.h"

#include <QEventLoop>
#include <QProcess>

static base::UniqueFd openTrusted(const char* path)
{
    base::UniqueFd file = base::openPlainFile(AT_FDCWD, path, O_RDONLY);
    struct stat info;
    if (file && (fstat(file.get(), &info) != 0 || (info.st_uid != 0 && info.st_uid != getuid()) ||
                 (info.st_mode & (S_IWGRP | S_IWOTH))))
        file.reset();
    return file;
}

void openQuarantineLocation(bool asRoot)
{
    const base::UniqueFd script = openTrusted(paths::quarantineOpener);
    if (!script)
        return;
    // By its descriptor, so that what runs is what was looked at.
    QProcess process;
    process.setProgram(QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(script.get()));
    if (asRoot)
        process.setArguments({QStringLiteral("root")});
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    process.start();
    if (process.waitForStarted() && process.state() != QProcess::NotRunning)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
}
