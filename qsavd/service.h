#pragma once

#include "base/uniquefd.h"
#include "protocol/message.h"
#include "qsavd/digest.h"
#include "qsavd/signatureset.h"
#include "qsavd/workspace.h"

#include <chrono>
#include <map>
#include <vector>

#include <sys/types.h>

namespace qsavd {

/// Serves the clients that come over a channel, from one thread: answers them with the state of the
/// signatures, forks the workers of their sessions, replaces those that die, and takes them away when the
/// client hangs up.
class Service
{
  public:
    /// Borrows everything. `channel` leads to the process that listens, which gets a SetState now and after
    /// each change; `signals` is a signalfd that tells of SIGCHLD and of requests to end.
    Service(int channel, int signals, SignatureSet& signatures, const Workspace& workspace);
    ~Service();

    /// Returns when the service shall end: told by a signal, or done with its last client when no more come.
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

    std::uint32_t sessionCount() const;
    void tellState();
    void readChannel();
    void meetNewcomers();
    void showLifeWhileLoading(const Connection& waiting);
    void greet(int socket) const;
    void serve(Connection& connection);
    bool begin(Connection& connection, const Begin& wanted);
    bool killWorker(const Connection& connection, const KillWorker& request) const;
    bool startWorker(Connection& connection);
    void readSignals();
    void reap();
    void end(Connection& connection);

    int channel_;
    int signals_;
    SignatureSet& signatures_;
    const Workspace& workspace_;
    bool ending_ = false;
    bool retired_ = false; ///< no more clients come
    bool usable_ = false;
    const Digest engine_ = engineDigest();
    Digest set_{};
    unsigned directories_ = 0; ///< made so far
    std::vector<base::UniqueFd> newcomers_;
    std::vector<Connection> connections_;
    std::chrono::steady_clock::time_point lastSign_; ///< of life, while loading
};

} // namespace qsavd
