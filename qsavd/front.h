#pragma once

#include "qsavd/endpoint.h"
#include "qsavd/holder.h"
#include "qsavd/signaturewatch.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qsavd {

/// How a service is to behave.
struct FrontSettings
{
    SignaturePlaces signatures;
    std::chrono::seconds idleLimit{600};
    /// A new set is loaded beside the old one when so many percent of that one's memory are available.
    unsigned sparePercent = 150;
    std::chrono::seconds loadLimit{15 * 60}; ///< for one set
    unsigned roomKilobytes = 0;              ///< for unpacking; 0: half of the memory
};

/// The process that listens. It holds no signatures and parses nothing: processes of their own load a set
/// each and serve the clients that they are given, so that a new set comes beside the old one and nobody
/// waits for it. Clients that come before any is loaded wait here.
class Front
{
  public:
    using Clock = std::chrono::steady_clock;

    /// Borrows everything. `signals` is a signalfd that tells of SIGCHLD, of requests to end, and by SIGHUP
    /// that the program goes.
    Front(Listener& listener, PidFile& pidFile, int signals, FrontSettings settings);
    ~Front();

    /// Returns when the service shall end: told by a signal, idle for long enough, or done with its last
    /// client after its program was exchanged.
    void run();

  private:
    void wait();
    void accept();
    void showLife();
    void layDown();
    void readSignals();
    void reap();
    void holderGone(const Holder& holder);
    void readHolders();
    void takeIntoUse(const Holder& loaded);
    void lookForChanges();
    bool haveMemoryForTwo() const;
    void load();
    void refuseWaiting(const std::string& why);
    void endHolders();
    const Holder* loading() const;
    unsigned sessions() const;
    bool done() const;
    int millisecondsLeft() const;

    Listener& listener_;
    PidFile& pidFile_;
    int signals_;
    FrontSettings settings_;
    SignatureWatch watch_;
    std::vector<std::unique_ptr<Holder>> holders_;
    const Holder* current_ = nullptr; ///< gets the clients; none before the first set is loaded
    std::vector<base::UniqueFd> waiting_;
    std::string fingerprint_; ///< of the set that was loaded last, or is being loaded
    std::string candidate_;   ///< what the directories held when they were last seen to be others
    Clock::time_point candidateSince_;
    bool changing_ = false; ///< candidate_ counts
    unsigned failures_ = 0; ///< of loading, in a row
    Clock::time_point lastUse_;
    Clock::time_point lastSign_;
    bool ending_ = false;
    bool laidDown_ = false; ///< listens no more
};

} // namespace qsavd
