#include "tests/qsavd/servicehome.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr auto patience = std::chrono::seconds(30);

bool isAlive(pid_t pid)
{
    // An orphan stays a zombie where nobody reaps it.
    QFile status(QString("/proc/%1/stat").arg(pid));
    return status.open(QIODevice::ReadOnly) && !status.readAll().contains(") Z ");
}

QList<pid_t> childrenOf(pid_t parent)
{
    QFile children(QString("/proc/%1/task/%1/children").arg(parent));
    QList<pid_t> pids;
    if (children.open(QIODevice::ReadOnly))
        for (const QByteArray& child : children.readAll().simplified().split(' '))
            if (child.toInt() > 0)
                pids.append(child.toInt());
    return pids;
}

} // namespace

ServiceHome::ServiceHome()
{
    QDir(directory_.path()).mkdir("signatures");
    paths_.socket = path("qsav").toStdString();
    paths_.pidFile = path("qsav.pid").toStdString();
    paths_.signatureDirs = {path("signatures").toStdString()};
    paths_.program = QSAVD_PROGRAM;
    addSignature("test.ndb", "Vardo-Test-File", testFile());
    addSignature("marker.ndb", "Vardo.Marker", marker());
}

ServiceHome::~ServiceHome()
{
    const pid_t service = pid();
    if (service > 0 && kill(service, SIGTERM) == 0 && !waitForEnd(service))
        kill(service, SIGKILL);
}

QByteArray ServiceHome::marker()
{
    return "a text that stands for something harmful";
}

QByteArray ServiceHome::testFile()
{
    return QByteArray("X5O!P%@AP[4\\PZX54(P^)7CC)7}$") + "EICAR" + "-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*";
}

QString ServiceHome::write(const QString& name, const QByteArray& content) const
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void ServiceHome::addSignature(const QString& file, const QByteArray& virus, const QByteArray& body) const
{
    write("signatures/" + file, virus + ":0:*:" + body.toHex() + "\n");
}

QString ServiceHome::writeConfiguration() const
{
    const QByteArray settings = "[path]\nLocalSocketPath=" + QByteArray::fromStdString(paths_.socket) +
                                "\nAVSpidPATH=" + QByteArray::fromStdString(paths_.pidFile) +
                                "\nSignaturePath=" + QByteArray::fromStdString(paths_.signatureDirs.front()) +
                                "\nSystemSignaturePath=none\n";
    return write("qsav.conf", settings);
}

unsigned long ServiceHome::start()
{
    const auto info = vardo::startService(paths_, true, {});
    if (!info)
        qWarning("%s", info.error().text.c_str());
    return info ? info.value().signatures : 0;
}

void ServiceHome::startIn(QProcess& process, const QStringList& arguments) const
{
    process.start(QString::fromStdString(paths_.program),
                  QStringList{"--socket", path("qsav"), "--pid-file", path("qsav.pid"), "--signatures",
                              path("signatures"), "--foreground"} +
                      arguments);
    if (!process.waitForStarted() || !QTest::qWaitFor([this] { return QFileInfo::exists(path("qsav")); }))
        qFatal("no service");
}

pid_t ServiceHome::pid() const
{
    QFile file(QString::fromStdString(paths_.pidFile));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
}

QList<pid_t> ServiceHome::holders() const
{
    return childrenOf(pid());
}

QList<pid_t> ServiceHome::workersOf(pid_t service)
{
    QList<pid_t> pids;
    for (const pid_t holder : childrenOf(service))
        pids += childrenOf(holder);
    return pids;
}

QString ServiceHome::workspace() const
{
    const QDir descriptors(QString("/proc/%1/fd").arg(pid()));
    for (const QString& name : descriptors.entryList(QDir::AllEntries | QDir::System))
        if (const QString target = QFile::symLinkTarget(descriptors.filePath(name));
            target.contains("/qsavd-"))
            return target;
    return {};
}

bool ServiceHome::waitForEnd(pid_t pid)
{
    return QTest::qWaitFor([&] { return !isAlive(pid); }, 30000);
}

TestScan::TestScan(const ServiceHome& home, const vardo::SessionOptions& options)
{
    vardo::ScanSession::Handlers handlers;
    handlers.done = [this](std::uint64_t id, vardo::Verdict verdict) { done(id, std::move(verdict)); };
    handlers.lost = [this](const std::string& why) {
        const std::lock_guard lock(mutex_);
        lost_ = why;
    };
    auto session = vardo::ScanSession::open(home.paths(), options, std::move(handlers), {});
    if (session)
        session_ = std::move(session).value();
    else
        error_ = session.error().text;
}

TestScan::~TestScan()
{
    session_.reset();
}

void TestScan::submit(const QString& path)
{
    base::UniqueFd file(open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info = {};
    const bool known = fstat(file.get(), &info) == 0;
    submit(std::move(file), known ? static_cast<quint64>(info.st_size) : 0);
}

void TestScan::submit(base::UniqueFd file, quint64 size)
{
    files_.push_back(std::move(file));
    session_->submit(files_.size() - 1, files_.back().get(), size, size);
}

bool TestScan::waitFor(std::size_t count)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return verdicts_.size() >= count; });
}

vardo::Verdict TestScan::verdict(std::size_t id) const
{
    const std::lock_guard lock(mutex_);
    const auto found = verdicts_.find(id);
    return found == verdicts_.end() ? vardo::Verdict{} : found->second;
}

std::size_t TestScan::verdicts() const
{
    const std::lock_guard lock(mutex_);
    return verdicts_.size();
}

std::string TestScan::lost() const
{
    const std::lock_guard lock(mutex_);
    return lost_;
}

bool TestScan::confused() const
{
    const std::lock_guard lock(mutex_);
    return confused_;
}

void TestScan::done(std::uint64_t id, vardo::Verdict verdict)
{
    const std::lock_guard lock(mutex_);
    confused_ = !verdicts_.emplace(id, std::move(verdict)).second || confused_;
    changed_.notify_all();
}

vardo::Verdict scanOne(const ServiceHome& home, const QString& path, const vardo::SessionOptions& options)
{
    TestScan scan(home, options);
    if (!scan.error().empty()) {
        qWarning("%s", scan.error().c_str());
        return {};
    }
    scan.submit(path);
    scan.waitForAll();
    return scan.verdict(0);
}
