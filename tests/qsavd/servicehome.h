#pragma once

#include "base/uniquefd.h"
#include "libvardo/scansession.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

#include <sys/types.h>

/// Whether a killed service hangs up before its workers die. A thread sanitizer gives it one more thread,
/// which may be the last to go; the file in hand is lost then.
#ifdef __SANITIZE_THREAD__
constexpr bool hangsUpFirst = false;
#else
constexpr bool hangsUpFirst = true;
#endif

/// A place of its own for a service: socket, pid file, signatures and files to scan. Ends the service
/// when it goes.
class ServiceHome
{
  public:
    ServiceHome();
    ~ServiceHome();

    /// Text that the signatures of a new home find, under the name "Vardo.Marker".
    static QByteArray marker();
    /// The standard anti-virus test file, found as "Vardo-Test-File".
    static QByteArray testFile();

    const vardo::ServicePaths& paths() const { return paths_; }
    vardo::ServicePaths& paths() { return paths_; }
    QString path(const QString& name) const { return directory_.filePath(name); }
    /// Writes a file and gives its path.
    QString write(const QString& name, const QByteArray& content) const;
    /// Writes a signature file with one body signature.
    void addSignature(const QString& file, const QByteArray& virus, const QByteArray& body) const;

    /// Writes an engine configuration that names this home, and gives its path.
    QString writeConfiguration() const;

    /// Loads the service and waits for it; the number of signatures, 0 when that fails.
    unsigned long start();
    /// Has a process run the service in the foreground, with further arguments, until that is killed.
    void startIn(QProcess& process, const QStringList& arguments) const;
    /// Process id of the service; 0 when it has none.
    pid_t pid() const;
    /// Process ids of those that hold signatures; more than one while a new set comes.
    QList<pid_t> holders() const;
    /// Process ids of their children.
    QList<pid_t> workers() const { return workersOf(pid()); }
    static QList<pid_t> workersOf(pid_t service);
    /// The directory below which the workers unpack.
    QString workspace() const;
    /// Waits until the process `pid` is gone.
    static bool waitForEnd(pid_t pid);

  private:
    QTemporaryDir directory_;
    vardo::ServicePaths paths_;
};

/// One scan: hands files to a session and keeps the verdicts.
class TestScan
{
  public:
    explicit TestScan(const ServiceHome& home, const vardo::SessionOptions& options = {});
    ~TestScan();

    const std::string& error() const { return error_; }
    /// Why the session was lost; empty while it is not.
    std::string lost() const;
    /// Hands over a file, which takes the next id, counted from 0.
    void submit(const QString& path);
    void submit(base::UniqueFd file, quint64 size = 0);
    /// Waits until so many verdicts have come. False after half a minute.
    bool waitFor(std::size_t count);
    bool waitForAll() { return waitFor(files_.size()); }

    vardo::Verdict verdict(std::size_t id) const;
    std::size_t verdicts() const;
    /// True when an id came that was not asked for, or came twice.
    bool confused() const;
    /// Ends the session.
    void abandon() { session_.reset(); }

  private:
    void done(std::uint64_t id, vardo::Verdict verdict);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::uint64_t, vardo::Verdict> verdicts_;
    bool confused_ = false;
    std::string error_;
    std::string lost_;
    std::vector<base::UniqueFd> files_;
    std::unique_ptr<vardo::ScanSession> session_;
};

/// Scans one file in a session of its own.
vardo::Verdict scanOne(const ServiceHome& home, const QString& path,
                       const vardo::SessionOptions& options = {});
