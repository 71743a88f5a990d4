#include "mainwindow/browser.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include <array>
#include <climits>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Whether nobody but root can change what `info` tells of, in a directory of root's alone or one with the
/// sticky bit, where only its owner can replace it. What a link's own mode says means nothing.
bool isRootsAlone(const struct stat& info)
{
    const bool sticky = S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX);
    return info.st_uid == 0 && (S_ISLNK(info.st_mode) || sticky || !(info.st_mode & (S_IWGRP | S_IWOTH)));
}

/// Whether nobody but root can change what the absolute `path` leads to: every directory, link and file on
/// the way there.
bool leadsToRoots(const QString& path)
{
    constexpr int mostLinks = 40; // as the kernel has it: path_resolution(7)
    QStringList ahead = path.split(u'/', Qt::SkipEmptyParts);
    QString place(u'/');
    for (int links = 0; links <= mostLinks;) {
        struct stat info = {};
        if (lstat(QFile::encodeName(place), &info) != 0 || !isRootsAlone(info))
            return false;
        if (S_ISLNK(info.st_mode)) {
            std::array<char, PATH_MAX> text{};
            if (readlink(QFile::encodeName(place), text.data(), text.size() - 1) <= 0)
                return false;
            const QString target = QFile::decodeName(text.data());
            ++links;
            ahead = target.split(u'/', Qt::SkipEmptyParts) + ahead;
            place = target.startsWith(u'/') ? QStringLiteral("/") : QFileInfo(place).path();
        } else if (ahead.isEmpty()) {
            return true;
        } else {
            place = QDir::cleanPath(place + u'/' + ahead.takeFirst());
        }
    }
    return false;
}

/// The path by which root runs `program`, whose name a launcher may go by; empty when there is none that
/// root may run.
QString rootsProgram(const QString& program)
{
    const bool relative = program.contains(u'/') && !program.startsWith(u'/');
    const QString found = relative ? QString() : QStandardPaths::findExecutable(program);
    return !found.isEmpty() && leadsToRoots(found) ? found : QString();
}

} // namespace

bool startBrowser(const QString& program, const QString& page)
{
    const QString file = geteuid() == 0 ? rootsProgram(program) : program;
    return !file.isEmpty() && QProcess::startDetached(file, {page});
}
