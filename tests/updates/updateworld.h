#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

#include <filesystem>
#include <memory>

/// What the tests of updates share: a mirror, and a machine whose signatures it updates. In the sandbox.
namespace updateworld {

namespace fs = std::filesystem;

/// The signed database `test` of this version, and the difference that leads to it.
fs::path database(int version);
fs::path difference(int version);

/// A server of signatures on the loopback address, as long as it lives. It serves its folder.
class Mirror
{
  public:
    /// With a `certificate` it speaks https.
    explicit Mirror(const fs::path& certificate = {});
    ~Mirror();

    /// Serves this version of `test`, with all differences.
    void publish(int version) const;
    /// How it misbehaves from now on; see mirror.py. Empty: not at all.
    void behave(const std::string& lines) const;
    /// What it was asked so far.
    QStringList requests() const;

    std::string address() const { return "127.0.0.1:" + port_; }
    const fs::path& folder() const { return folder_; }
    std::string port() const { return port_; }

  private:
    fs::path folder_;
    QProcess process_;
    std::string port_;
};

/// One line of updatenow's JSON is enough to know how it ended.
struct Outcome
{
    int code = -1;
    QString result; ///< updated, unchanged, busy, stopped, failed
    QString reason;
};

/// Directories and settings of one installation, away from all others.
class Machine
{
  public:
    /// Updates the database `test` from `server`, with `more` lines for its settings.
    explicit Machine(const std::string& server, const std::string& more = {});
    ~Machine();

    /// Installs this version by hand.
    void install(int version) const;
    /// The settings anew.
    void configure(const std::string& server, const std::string& more) const;

    QStringList arguments() const;
    Outcome update(const QStringList& more = {}) const;
    std::unique_ptr<QProcess> start(const QStringList& more = {}) const;
    static Outcome outcome(QProcess& process, int seconds = 60);

    /// The version of `test` that is installed: 0 for none, -1 when there are two files of it.
    int version() const;
    /// Empty when nothing is left of a run: neither in the temporary directory nor beside the signatures.
    QString leftovers() const;

    fs::path root;
    fs::path live() const { return root / "lib/signatures"; }
    fs::path temporary() const { return root / "tmp"; }
    std::string qsavConf() const { return root / "qsav.conf"; }
    std::string updatesConf() const { return root / "updates.conf"; }
};

QStringList namesIn(const fs::path& directory);

} // namespace updateworld
