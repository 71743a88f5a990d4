#include "tests/tools/desktop.h"

#include "tests/tools/schedulehome.h"

#include <QTest>

#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;
using namespace schedulehome;

namespace {

constexpr char directory[] = "/run/user/1000";

void start(QProcess& process, const QString& program, const QStringList& arguments)
{
    QProcessEnvironment environment;
    environment.insert("PATH", "/usr/bin:/bin");
    environment.insert("PYTHONUNBUFFERED", "1");
    environment.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/user/1000/bus");
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier(asMember());
    process.start(program, arguments);
    process.waitForStarted();
}

QByteArray namesOnBus()
{
    QProcess asks;
    start(
        asks, "dbus-send",
        {"--session", "--print-reply", "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.ListNames"});
    return wait(asks).out;
}

} // namespace

Desktop::Desktop()
{
    fs::create_directories(directory);
    if (::chown(directory, person, person) != 0)
        qFatal("cannot prepare %s", directory);
    start(bus_, "dbus-daemon",
          {"--config-file=/usr/share/dbus-1/session.conf", "--address=unix:path=/run/user/1000/bus",
           "--nofork", "--print-address"});
    bus_.waitForReadyRead();
    start(shower_, "/usr/bin/python3", {"-m", "dbusmock", "--template", "notification_daemon"});
    for (int attempt = 0; attempt < 100 && !namesOnBus().contains("Notifications"); ++attempt)
        QTest::qWait(50);
}

Desktop::~Desktop()
{
    for (QProcess* process : {&shower_, &bus_}) {
        process->terminate();
        process->waitForFinished();
    }
    fs::remove_all(directory);
}

QByteArray Desktop::shown()
{
    while (shower_.waitForReadyRead(500)) {
    }
    return shower_.readAllStandardOutput();
}
