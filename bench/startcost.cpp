// Measures the time from the start of the program until its window takes clicks, with a running service,
// against a bare window with as many widgets: startcost [STARTS]

#include "tests/e2e/realwindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QGridLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPushButton>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr int widgetsOfTheWindow = 172;

/// What is compared with: this program as `startcost bare`.
int showBareWindow(int& argc, char** argv)
{
    QApplication application(argc, argv);
    QWidget window;
    window.setObjectName("bare");
    QGridLayout grid(&window);
    for (int i = 0; i < widgetsOfTheWindow; ++i)
        grid.addWidget(new QPushButton(QString::number(i)), i / 10, i % 10);
    window.resize(724, 564);
    window.show();
    return QApplication::exec();
}

bool isUsable(QLocalSocket& probe, const QString& window)
{
    probe.write("widgets\n");
    while (!probe.canReadLine() && probe.waitForReadyRead(10'000))
        continue;
    for (const QJsonValue& widget : QJsonDocument::fromJson(probe.readLine()).array())
        if (widget["window"] == window && widget["class"] == "QWidget" && widget["reachable"].toBool())
            return true;
    return false;
}

/// Milliseconds from the start of a program until its window takes clicks.
double timeToUse(const QStringList& command, const QString& window)
{
    const QString socket = "/tmp/startcost";
    QFile::remove(socket);
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_PLUGIN_PATH", VARDO_PROBE_PLUGINS);
    qputenv("QT_QPA_GENERIC_PLUGINS", "VardoProbe:" + socket.toUtf8());
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start(command.first(), command.mid(1));
    QLocalSocket probe;
    while (!probe.waitForConnected(0)) {
        QThread::msleep(1);
        probe.connectToServer(socket);
    }
    while (!isUsable(probe, window))
        QThread::msleep(1);
    const double passed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    process.kill();
    process.waitForFinished();
    return passed;
}

double median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "bare") == 0)
        return showBareWindow(argc, argv);
    if (!sandbox::inside())
        return sandbox::enterAsRoot(argv);
    QCoreApplication application(argc, argv);
    const VirtualScreen screen;
    if (!screen.isUp())
        return EXIT_FAILURE;
    product::install("[Scan]\nScanMemoryAtStart = no\n");
    const QStringList vardo = {"/opt/Quillstone/usr/bin/vardogui"};
    const QStringList bare = {QCoreApplication::applicationFilePath(), "bare"};
    timeToUse(vardo, "VMainWidget"); // starts the service
    std::vector<double> vardoTimes, bareTimes;
    for (int starts = argc > 1 ? std::atoi(argv[1]) : 11; starts > 0; --starts) {
        vardoTimes.push_back(timeToUse(vardo, "VMainWidget"));
        bareTimes.push_back(timeToUse(bare, "bare"));
    }
    std::printf("%.0f ms; %.2f of a bare window's\n", median(vardoTimes),
                median(vardoTimes) / median(bareTimes));
    return EXIT_SUCCESS;
}
