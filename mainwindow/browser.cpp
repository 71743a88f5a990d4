#include "mainwindow/browser.h"

#include "base/rootsway.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <unistd.h>

namespace {

/// The path by which root runs `program`, whose name a launcher may go by; empty when there is none that
/// root may run.
QString rootsProgram(const QString& program)
{
    const bool relative = program.contains(u'/') && !program.startsWith(u'/');
    const QString found = relative ? QString() : QStandardPaths::findExecutable(program);
    return !found.isEmpty() && base::isRootsProgram(QFile::encodeName(found).toStdString()) ? found
                                                                                            : QString();
}

} // namespace

bool startBrowser(const QString& program, const QString& page)
{
    const QString file = geteuid() == 0 ? rootsProgram(program) : program;
    return !file.isEmpty() && QProcess::startDetached(file, {page});
}
