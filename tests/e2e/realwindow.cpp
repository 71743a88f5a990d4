#include "tests/e2e/realwindow.h"

#include "base/paths.h"
#include "tests/qsavd/servicehome.h"
#include "tests/qsavd/zipwriter.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <csignal>

namespace {

constexpr int patience = 30'000; // milliseconds
constexpr char program[] = "/opt/Quillstone/usr/bin/vardogui";
constexpr char logDirectory[] = "/var/Quillstone/var/log/vardo";

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

SeenWidget seenWidget(const QJsonObject& object)
{
    SeenWidget widget;
    widget.exists = true;
    widget.reachable = object["reachable"].toBool();
    widget.checked = object["checked"].toBool();
    widget.text = object["text"].toString();
    widget.className = object["class"].toString();
    widget.place = RealWindow::rectOf(object["rect"]);
    return widget;
}

/// Moves the pointer, presses buttons and keys.
void useHands(const QStringList& arguments)
{
    if (QProcess::execute("xdotool", arguments) != 0)
        qWarning("xdotool failed: %s", qPrintable(arguments.join(' ')));
}

QString pidFile(unsigned int user)
{
    return user == 0 ? paths::servicePid : "/home/tester/.vardo/qsav.pid";
}

} // namespace

void product::install(const QByteArray& settings)
{
    for (const unsigned int user : {0u, 1000u}) {
        if (const pid_t pid = service(user); pid > 0 && ::kill(pid, SIGTERM) == 0)
            ServiceHome::waitForEnd(pid);
    }
    sandbox::makeInstallation();
    sandbox::writeFile("/opt/Quillstone/etc/vardo/vardo.conf", settings.toStdString());
    const QByteArray signatures = "Vardo-Test-File:0:*:" + ServiceHome::testFile().toHex() +
                                  "\nVardo.Marker:0:*:" + ServiceHome::marker().toHex() + "\n";
    sandbox::writeFile("/var/Quillstone/var/lib/signatures/test.ndb", signatures.toStdString());
}

QByteArray product::busyArchive()
{
    static QByteArray archive;
    if (!archive.isEmpty())
        return archive;
    archive = QByteArray(8 << 20, '\0');
    for (int level = 0; level < 4; ++level) {
        ZipWriter zip;
        for (int copy = 0; copy < 10; ++copy)
            zip.add(QByteArray::number(copy) + ".zip", archive);
        archive = zip.finish();
    }
    return archive;
}

QByteArray product::onlyLog()
{
    const QFileInfoList logs = QDir(logDirectory).entryInfoList({"*.log"}, QDir::Files);
    return logs.size() == 1 ? contentOf(logs.first().filePath()) : QByteArray();
}

QByteArrayList product::logEntries()
{
    const QByteArray log = onlyLog();
    const qsizetype start = log.indexOf("\nScanning directory ") + 1;
    const qsizetype end = log.indexOf("\n--------------------Scan Statistics", start);
    return log.mid(start, end < 0 ? -1 : end - start).split('\n');
}

QByteArray product::quarantineRecords()
{
    return contentOf("/opt/Quillstone/etc/vardo/.quarantined");
}

pid_t product::service(unsigned int user)
{
    return contentOf(pidFile(user)).trimmed().toInt();
}

QList<pid_t> product::workers(unsigned int user)
{
    return ServiceHome::workersOf(service(user));
}

RealWindow::RealWindow(sandbox::Ids user)
{
    static int starts = 0;
    socketName_ = QString("/tmp/probe-%1").arg(++starts);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", QString::fromStdString(sandbox::homeOf(user.user)));
    environment.insert("QT_QPA_PLATFORM", "xcb");
    environment.insert("QT_PLUGIN_PATH", VARDO_PROBE_PLUGINS);
    environment.insert("QT_QPA_GENERIC_PLUGINS", "VardoProbe:" + socketName_);
    process_.setProcessEnvironment(environment);
    process_.setProcessChannelMode(QProcess::ForwardedChannels);
    QStringList command;
    // Root is the true one, who may become others.
    const std::vector<std::string> words = user.user == 0 && user.group == 0
                                               ? std::vector<std::string>{program}
                                               : sandbox::asUser(user, {program});
    for (const std::string& word : words)
        command << QString::fromStdString(word);
    const QString first = command.takeFirst();
    process_.start(first, command);
}

void RealWindow::kill()
{
    process_.kill();
    process_.waitForFinished(patience);
}

QByteArray RealWindow::ask(const QByteArray& request)
{
    QElapsedTimer timer;
    timer.start();
    while (isRunning() && socket_.state() != QLocalSocket::ConnectedState && !timer.hasExpired(patience)) {
        socket_.connectToServer(socketName_);
        if (!socket_.waitForConnected(100))
            QTest::qWait(20);
    }
    if (socket_.state() != QLocalSocket::ConnectedState)
        return {};
    socket_.write(request + '\n');
    while (isRunning() && !socket_.canReadLine() && !timer.hasExpired(patience)) {
        if (!socket_.waitForReadyRead(100))
            QCoreApplication::processEvents(); // for the end of the program
    }
    slowestAnswer_ = std::max(slowestAnswer_, timer.elapsed());
    return socket_.isOpen() ? socket_.readLine().trimmed() : QByteArray();
}

QRect RealWindow::rectOf(const QJsonValue& value)
{
    const QJsonArray numbers = value.toArray();
    return {numbers[0].toInt(), numbers[1].toInt(), numbers[2].toInt(), numbers[3].toInt()};
}

QJsonArray RealWindow::widgets()
{
    return QJsonDocument::fromJson(ask("widgets")).array();
}

SeenWidget RealWindow::find(const QString& name)
{
    const qsizetype slash = name.indexOf('/');
    const QString window = name.left(slash);
    const QString widget = slash < 0 ? window : name.mid(slash + 1);
    for (const QJsonValue& value : widgets()) {
        if (value["window"] == window && (value["name"] == widget || value["text"] == widget))
            return seenWidget(value.toObject());
    }
    return {};
}

QStringList RealWindow::texts(const QString& window)
{
    QStringList texts;
    for (const QJsonValue& value : widgets()) {
        if (value["window"] == window && value["class"] == "QLabel" && !value["text"].toString().isEmpty())
            texts.append(value["text"].toString());
    }
    return texts;
}

bool RealWindow::waitUntil(const QString& wanted, const std::function<bool()>& condition)
{
    if (QTest::qWaitFor([&] { return !isRunning() || condition(); }, patience) && condition())
        return true;
    const QString picture = QString(VARDO_PICTURES "/%1.png").arg(QTest::currentTestFunction());
    VirtualScreen::savePicture(picture);
    QStringList shown;
    for (const QJsonValue& value : widgets())
        shown << value["window"].toString() + '/' + value["name"].toString() + ' ' + value["text"].toString();
    qWarning("in vain: %s; see %s; shown: %s", qPrintable(wanted), qPrintable(picture),
             isRunning() ? qPrintable(shown.join("; ")) : "nothing, the program has ended");
    return false;
}

bool RealWindow::waitFor(const QString& name)
{
    return waitUntil(name, [&] { return find(name).exists; });
}

bool RealWindow::waitForEnd(const QString& name)
{
    return waitUntil("the end of " + name, [&] { return !isRunning() || !find(name).exists; });
}

bool RealWindow::click(const QString& name, QPoint at)
{
    SeenWidget widget;
    const auto atRest = [&] {
        const QRect before = widget.place;
        widget = find(name);
        return widget.reachable && widget.place == before;
    };
    if (!waitUntil(name, atRest))
        return false;
    const bool hasMark = widget.className == "VCheckBox" || widget.className == "VRadioButton";
    if (at == QPoint(-1, -1))
        at = {hasMark ? 9 : widget.place.width() / 2, widget.place.height() / 2};
    clickAt(widget.place.topLeft() + at);
    return true;
}

double RealWindow::factor()
{
    const double factor = qgetenv("QT_SCALE_FACTOR").toDouble();
    return factor > 0 ? factor : 1;
}

void RealWindow::clickAt(QPoint point, int button)
{
    const QPoint pixel = (QPointF(point) * factor()).toPoint();
    useHands({"mousemove", QString::number(pixel.x()), QString::number(pixel.y()), "click",
              QString::number(button)});
}

void RealWindow::press(const QString& keys)
{
    useHands({"key", keys});
}

int RealWindow::exitCode()
{
    const bool ended = process_.state() == QProcess::NotRunning || process_.waitForFinished(patience);
    return ended && process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}
