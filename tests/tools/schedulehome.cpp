#include "tests/tools/schedulehome.h"

#include "base/paths.h"
#include "jobs/change.h"
#include "tests/support/sandbox.h"

#include <filesystem>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace schedulehome {

namespace {

constexpr char marker[] = "a text that stands for something harmful";
constexpr gid_t settingsGroup = 990;

void giveAway(const fs::path& path, uid_t owner, gid_t group, mode_t mode)
{
    if (::chown(path.c_str(), owner, group) != 0 || ::chmod(path.c_str(), mode) != 0)
        qFatal("cannot prepare %s", path.c_str());
}

} // namespace

void make()
{
    sandbox::makeInstallation();
    for (const char* place : {paths::scheduleStamps, files})
        fs::remove_all(place);
    fs::create_directories(files);
    sandbox::writeFile("/var/Quillstone/var/lib/signatures/marker.ndb",
                       "Vardo.Marker:0:*:" + QByteArray(marker).toHex().toStdString() + '\n');
    for (const char* place : {"/opt/Quillstone/etc", "/opt/Quillstone/etc/vardo", "/var/Quillstone/var/log",
                              "/var/Quillstone/var/log/vardo"})
        giveAway(place, settingsGroup, settingsGroup, 02775);
    giveAway(paths::quarantine, settingsGroup, settingsGroup, 03770);
    giveAway("/home/tester", person, person, 0755);
    giveAway("/tmp", 0, 0, 01777);
}

Outcome wait(QProcess& process)
{
    if (!process.waitForFinished(60000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

std::function<void()> asMember()
{
    return [] {
        if (::setgroups(1, &settingsGroup) != 0 || ::setgid(person) != 0 || ::setuid(person) != 0)
            ::_exit(99);
    };
}

void member(const std::string& script)
{
    QProcess shell;
    shell.setChildProcessModifier(asMember());
    shell.start("/bin/sh", {"-ec", QString::fromStdString(script)});
    const Outcome outcome = wait(shell);
    if (outcome.code != 0)
        qFatal("%s: %s", script.c_str(), outcome.err.constData());
}

Outcome vardoscan(const QStringList& arguments, bool asMember)
{
    QProcess process;
    if (asMember)
        process.setChildProcessModifier(schedulehome::asMember());
    process.start(paths::vardoScan, arguments);
    return wait(process);
}

jobs::Job jobNamed(const std::string& name)
{
    jobs::Job job;
    job.name = name;
    job.frequency = FREQ_DAILY;
    job.hour = 3;
    job.action = SCANACT_QUARANTINE;
    job.objects = {files};
    return job;
}

bool save(const jobs::Job& job)
{
    return jobs::saveJob({paths::scheduleStore, paths::scheduleCron}, job, true) == jobs::Outcome::Done;
}

void infect(const std::string& name, const std::string& text)
{
    sandbox::writeFile(fs::path(files) / name, marker + text);
}

bool isThere(const std::string& name)
{
    return fs::exists(fs::path(files) / name);
}

} // namespace schedulehome
