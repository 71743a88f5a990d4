#include "tests/updates/updateworld.h"

#include "base/databasename.h"
#include "tests/support/sandbox.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>

namespace updateworld {

namespace {

const fs::path data = UPDATES_DATA;

fs::path freshFolder(const char* kind)
{
    std::string name = std::string("/tmp/") + kind + ".XXXXXX";
    if (!mkdtemp(name.data()))
        qFatal("no directory for a test");
    fs::permissions(name, fs::perms(0755));
    return name;
}

} // namespace

fs::path database(int version)
{
    return data / ("test-" + std::to_string(version) + ".cvd");
}

fs::path difference(int version)
{
    return data / ("test-" + std::to_string(version) + ".cdiff");
}

Mirror::Mirror(const fs::path& certificate)
    : folder_(freshFolder("mirror"))
{
    QStringList arguments{QString::fromStdString(data / "mirror.py"), QString::fromStdString(folder_)};
    if (!certificate.empty())
        arguments.append(QString::fromStdString(certificate));
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start("python3", arguments);
    if (!process_.waitForReadyRead(20000))
        qFatal("the mirror does not start");
    port_ = process_.readLine().trimmed().toStdString();
}

Mirror::~Mirror()
{
    process_.kill();
    process_.waitForFinished();
    fs::remove_all(folder_);
}

void Mirror::publish(int version) const
{
    constexpr auto over = fs::copy_options::overwrite_existing;
    fs::copy_file(database(version), folder_ / "test.cvd", over);
    for (int n = 1; n <= 3; ++n) {
        fs::copy_file(database(n), folder_ / database(n).filename(), over);
        if (n > 1)
            fs::copy_file(difference(n), folder_ / difference(n).filename(), over);
    }
}

void Mirror::behave(const std::string& lines) const
{
    sandbox::writeFile(folder_ / "behaviour", lines);
    fs::remove(folder_ / "requests");
}

QStringList Mirror::requests() const
{
    return QString::fromStdString(sandbox::readFile(folder_ / "requests")).split('\n', Qt::SkipEmptyParts);
}

Machine::Machine(const std::string& server, const std::string& more)
    : root(freshFolder("machine"))
{
    const std::string base = root;
    sandbox::writeFile(qsavConf(), "[path]\nSignaturePath = " + base + "/lib/signatures\nUpdateTempPath = " +
                                       base + "/tmp\nUpdateBackupPath = " + base + "/lib/signatures.old\n");
    configure(server, more);
    fs::create_directories(live());
}

Machine::~Machine()
{
    std::error_code ignored;
    fs::remove_all(root, ignored);
}

void Machine::configure(const std::string& server, const std::string& more) const
{
    sandbox::writeFile(updatesConf(), "[Update]\nServer = \"" + server +
                                          "\"\nDatabases = test\nRetries = 1\nTimeOut = 15\nMaxFileMB = 1\n" +
                                          more);
}

void Machine::install(int version) const
{
    for (const char* ending : {"cvd", "cld"})
        fs::remove(live() / (std::string("test.") + ending));
    if (version > 0)
        fs::copy_file(database(version), live() / "test.cvd");
}

QStringList Machine::arguments() const
{
    return {"--json", QString::fromStdString("--config=" + updatesConf()),
            QString::fromStdString("--engine-config=" + qsavConf())};
}

std::unique_ptr<QProcess> Machine::start(const QStringList& more) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(UPDATENOW, arguments() + more);
    return process;
}

Outcome Machine::outcome(QProcess& process, int seconds)
{
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(seconds * 1000))
        return {-1, "hangs", {}};
    const QByteArray line = process.readAllStandardOutput().trimmed().split('\n').last();
    const QJsonObject end = QJsonDocument::fromJson(line).object();
    const bool exited = process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, end["result"].toString(), end["reason"].toString()};
}

Outcome Machine::update(const QStringList& more) const
{
    return outcome(*start(more));
}

int Machine::version() const
{
    int found = 0;
    for (const char* ending : {"cvd", "cld"}) {
        const std::string head = sandbox::readFile(live() / (std::string("test.") + ending)).substr(0, 512);
        if (head.empty())
            continue;
        found = found ? -1 : static_cast<int>(base::databaseVersion(head).value_or(0));
    }
    return found;
}

QString Machine::leftovers() const
{
    QStringList left = namesIn(temporary());
    for (const QString& name : namesIn(root / "lib") + namesIn(root / "lib/signatures.update"))
        if (name == "next" || name.endsWith(".new"))
            left.append(name);
    for (const QString& name : namesIn(live()))
        if (name.startsWith("."))
            left.append(name);
    return left.join(' ');
}

QStringList namesIn(const fs::path& directory)
{
    return QDir(QString::fromStdString(directory))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace updateworld
