#include "mainwindow/restorerun.h"

#include "base/command.h"
#include "base/paths.h"
#include "kit/visibletext.h"
#include "quarantine/restorenotes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qsizetype longestLine = 90;
constexpr qsizetype mostLines = 12;

/// In lines that a message box has room for.
QString forBox(QStringList lines)
{
    const qsizetype more = lines.size() - mostLines;
    if (more > 0)
        lines = lines.first(mostLines) << QStringLiteral("… (%1 more)").arg(more);
    for (QString& line : lines) {
        line = visibleText(line);
        for (qsizetype end = longestLine; end < line.size(); end += longestLine + 1)
            line.insert(end, u'\n');
    }
    return lines.join(u'\n');
}

struct stat statusOf(int directory, const std::string& name)
{
    struct stat status = {};
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        status.st_uid = static_cast<uid_t>(-1);
    return status;
}

base::UniqueFd openQuarantine()
{
    return base::UniqueFd(::open(paths::quarantine, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Of the newest note that may be believed about the file.
std::string originOf(int directory, const std::string& name)
{
    const struct stat status = statusOf(directory, name);
    const quarantine::StoredNote* newest = nullptr;
    std::vector<quarantine::StoredNote> found;
    if (const auto notes = quarantine::RestoreNotes::open(directory))
        found = notes.value().of(name);
    for (const quarantine::StoredNote& note : found) {
        if (note.isAbout(status) && (!newest || note.isNewerThan(newest->note)))
            newest = &note;
    }
    return newest ? newest->note.origin : "";
}

} // namespace

RestoreRun::RestoreRun(std::vector<std::string> names)
    : names_(std::move(names))
{
}

void RestoreRun::run()
{
    std::vector<std::string> command{paths::vardoQuarantine, "restore", "--"};
    command.insert(command.end(), names_.begin(), names_.end());
    succeeded_ = runCommand(command, output_) == 0;
}

QString RestoreRun::said() const
{
    return forBox(QString::fromStdString(output_).split(u'\n', Qt::SkipEmptyParts));
}

bool quarantinelist::mayRestore(const std::string& name)
{
    return ::getuid() == 0 || statusOf(openQuarantine().get(), name).st_uid == ::getuid();
}

QString quarantinelist::origins(const std::vector<std::string>& names)
{
    const base::UniqueFd directory = openQuarantine();
    QStringList lines;
    for (const std::string& name : names) {
        const std::string origin = originOf(directory.get(), name);
        lines << QString::fromStdString(name) + QStringLiteral(": ") +
                     (origin.empty() ? QStringLiteral("an unknown place") : QString::fromStdString(origin));
    }
    return forBox(lines);
}
