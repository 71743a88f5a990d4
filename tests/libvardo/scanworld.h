#pragma once

#include "libvardo/scanrun.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// A session whose verdict on a file is written in the file: "infected", "inner", "suspected",
/// "encrypted" or "corrupt" at its head; all else is clean.
class FakeService
{
  public:
    vardo::SessionFactory factory();

    bool backwards = false;            ///< answers the newest file first
    std::atomic<bool> loading = false; ///< opens no session while true
    std::atomic<int> delayMs = 0;      ///< before each answer
    std::atomic<bool> holding = false; ///< answers nothing while true
    bool infectsAll = false;           ///< calls every file infected
    int loseAfter = -1;                ///< answers so many files, then the session is lost
    std::function<void(const QByteArray&)>
        whileScanning; ///< called with the content, on the session's thread
    std::atomic<int> submitted = 0;
    std::atomic<std::size_t> mostInFlight = 0;
    std::atomic<int> sessionsClosed = 0;
    vardo::SessionOptions options; ///< of the last session
};

/// One call of the result callback.
struct Call
{
    std::string name;
    int type;
    int status;
    std::string virus;
    std::string remark;
    unsigned filesCounted; ///< by the statistics at the time of the call
    std::thread::id thread;
};

/// A directory with files, a scan of it, and what the scan reported.
class ScanWorld
{
  public:
    ScanWorld();

    QByteArray path(const QByteArray& name = {}) const;
    QByteArray write(const QByteArray& name, const QByteArray& content = "harmless");
    void directory(const QByteArray& name);
    static QByteArray read(const QByteArray& path);
    static QList<QByteArray> list(const QByteArray& directory);

    /// Scans `objects`, by default the directory. The result is what DoScan would give.
    int scan(const std::vector<std::string>& objects = {});

    /// Scans the processes, by default those of the user alone.
    int scanMemory(bool all = false);

    /// The reported files, below the directory and without it, as "name" or "name status".
    QList<QByteArray> files(bool withStatus = false) const;
    QList<QByteArray> directories() const;
    const Call* find(const QByteArray& name) const;
    int beats() const;

    FakeService service;
    vardo::WalkOptions walk;
    vardo::ActionPlan plan;
    vardo::SessionOptions session;
    QS_InterfaceScanStatistics statistics = {};
    std::vector<Call> calls;
    std::function<int(const Call&)> onCall;
    std::function<int(const QByteArray& name, char* data)> onPrompt;
    unsigned recordFailures = 0;
    std::string error;

  private:
    int run(const vardo::SourceFactory& source);
    static int result(const char* name, int type, int status, const char* virus, const char* remark,
                      void* context);
    static int prompt(const char* name, char* data);
    QTemporaryDir base_;
};
