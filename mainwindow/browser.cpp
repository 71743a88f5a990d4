#include "mainwindow/browser.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Whether root alone can change what `path`, which has no links in it, stands for. In a directory with the
/// sticky bit nobody else can replace what belongs to root.
bool isRootsAlone(QString path)
{
    for (;; path = QFileInfo(path).path()) {
        struct stat info;
        if (lstat(QFile::encodeName(path), &info) != 0 || info.st_uid != 0)
            return false;
        const bool sticky = S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX);
        if ((info.st_mode & (S_IWGRP | S_IWOTH)) && !sticky)
            return false;
        if (path == u'/')
            return true;
    }
}

/// The file that root runs for `program`; empty when there is none that root may run.
QString rootsProgram(const QString& program)
{
    const bool relative = program.contains(u'/') && !program.startsWith(u'/');
    const QString found = relative ? QString() : QStandardPaths::findExecutable(program);
    const QString file = QFileInfo(found).canonicalFilePath();
    return !found.isEmpty() && isRootsAlone(file) ? file : QString();
}

} // namespace

bool startBrowser(const QString& program, const QString& page)
{
    const QString file = geteuid() == 0 ? rootsProgram(program) : program;
    return !file.isEmpty() && QProcess::startDetached(file, {page});
}
