#pragma once

#include "base/uniquefd.h"
#include "protocol/message.h"
#include "qsavd/signatureset.h"
#include "qsavd/workspace.h"

#include <chrono>
#include <map>
#include <vector>

#include <sys/types.h>

namespace qsavd {

/// Serves clients from one thread: answers them with the state of the signatures, forks the workers of
/// their sessions, replaces those that die, and takes them away when the client hangs up.
class Service
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Borrows everything. `signals` is a signalfd that tells of SIGCHLD and of requests to end.
    Service(int listener, int signals, SignatureSet& signatures, const Workspace& workspace,
            Clock::duration idleLimit);
    ~Service();

    /// Returns when the service shall end: told by a signal, idle for long enough, or holding an outdated
    /// set while nobody uses it.
    void run();

  private:
    struct Worker
    {
        std::uint32_t number = 0;
        std::string directory;
    };
    struct Connection
    {
        base::UniqueFd socket;
        bool begun = false;
        bool over = false;
        Begin options;
        cl_engine* engine = nullptr;
        std::uint32_t started = 0;         ///< workers so far
        std::map<pid_t, Worker> workers{}; ///< alive
    };

    bool anySession() const;
    int millisecondsLeft() const;
    void accept();
    void greet(int socket) const;
    void serve(Connection& connection);
    bool begin(Connection& connection, const Begin& wanted);
    bool killWorker(const Connection& connection, const KillWorker& request) const;
    bool startWorker(Connection& connection);
    void readSignals();
    void reap();
    void end(Connection& connection);
    void dropEnded();

    int listener_;
    int signals_;
    SignatureSet& signatures_;
    const Workspace& workspace_;
    Clock::duration idleLimit_;
    Clock::time_point lastUse_;
    bool ending_ = false;
    bool usable_ = false;
    unsigned directories_ = 0; ///< made so far
    std::vector<Connection> connections_;
};

} // namespace qsavd
