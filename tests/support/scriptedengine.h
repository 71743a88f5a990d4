#pragma once

#include "engine/schedule.h"
#include "engine/update.h"
#include "engine/vardo.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// A second implementation of the engine's boundary for tests: plays scripts, answers as told, and
/// keeps a journal of every call.
namespace scripted {

class Running;

/// One step of a scan or of the engine's initialisation. Its result is what the callback answered;
/// CALLBACK_STOP ends the script.
using Step = std::function<int(Running&)>;
using Script = std::vector<Step>;

/// Reports one object through the result callback. A null `virus` or `remark` is handed over as null.
Step report(std::string name, int status = SCANSTAT_CLEAN, const char* virus = nullptr,
            const char* remark = nullptr, int objectType = OBJTYPE_FILE);
Step directory(std::string name);
/// Makes one call with nothing in it, as the engine does while it waits.
Step beat();
/// Beats every few milliseconds until `condition` holds, which is asked on the scanning thread, or the
/// callback stops the scan. Gives up after ten seconds.
Step beatUntil(std::function<bool()> condition);
/// Changes the statistics before the steps that follow.
Step count(std::function<void(QS_InterfaceScanStatistics&)> change);
/// Asks the action prompt about `name`; the answer goes to ScriptedEngine::promptAnswers.
Step ask(std::string name);
Step run(std::function<void()> action);

/// A scan under way, as its steps see it.
class Running
{
  public:
    int report(const char* name, int objectType, int status, const char* virus, const char* remark);
    int ask(const std::string& name);
    QS_InterfaceScanStatistics& statistics();

  private:
    friend class ::Vardo;
    Running(QS_ResultCallBack callback, QS_ResultContextData* context, QS_actionPromptCallBack prompt);
    bool play(const Script& script);

    QS_ResultCallBack callback_;
    QS_ResultContextData* context_;
    QS_actionPromptCallBack prompt_;
};

/// The option values behind ScanConfig.
struct ScanOptions
{
    unsigned int scanOpts = 0;
    unsigned int action = SCANACT_LOG;
    unsigned int logLevel = LOGLEVEL_INFECTED;
    std::string logLocation = "/var/Quillstone/var/log";
    unsigned char memScan = 0;
    std::string extensions;
    std::string excludeDirs;
    unsigned char maxDepth = 0;
    unsigned long maxSize = 0;
    std::string actData;
    unsigned char alert = 1;
    unsigned int alertDays = 15;
};

/// The option values behind vUpdate.
struct UpdateOptions
{
    unsigned char useProxy = 0;
    std::string proxyServer;
    unsigned int proxyPort = 0;
    unsigned char proxyAuth = 0;
    std::string proxyUser;
    std::string proxyPass;
    std::string updateServer = "updates.example.org";
    unsigned char useHttps = 0;
    unsigned char timeOut = 30;
    unsigned char noOfRetry = 3;
    unsigned char autoUpdate = 0;
    unsigned char updateHour = 0;
    unsigned char updateMinute = 0;
};

/// The values behind vSchedule.
struct Schedule
{
    unsigned int action = SCANACT_LOG;
    unsigned int scanFlags = 0;
    unsigned char frequency = FREQ_ONCE;
    unsigned char month = 1;
    unsigned char monthDay = 1;
    unsigned char weekDay = 0;
    unsigned char hour = 0;
    unsigned char minute = 0;
    std::vector<std::string> objects;
    bool outdated = false;
};

struct LogLine
{
    unsigned char level;
    std::string text;
};

struct PromptAnswer
{
    int code;
    std::string actData; ///< what the callee filled in
};

} // namespace scripted

/// What the scripted boundary does and has seen. One per process, see scriptedEngine(). The plain
/// members are set before the code under test runs and read after it; the functions may be called
/// from any thread at any time.
class ScriptedEngine
{
  public:
    /// Back to the state at program start. Call it from a test's init().
    void reset();

    /// The calls so far, in order, as text: "SetScanOption 0x10", "AddObject /home/x", "DoScan",
    /// "LogMe 1 text", "vUpdate::GetOption 4", "vSchedule::SetOption 9=12". Numbers are decimal, option bits
    /// hexadecimal; a null text reads "(null)". The calls of vUpdate and vSchedule carry their class.
    std::vector<std::string> journal() const;
    /// The journal without the calls that only read: GetOption, GetStatistics, getConfigFile,
    /// VardoIsAVLoaded, ScanError and LogMe.
    std::vector<std::string> changes() const;
    void clearJournal();
    /// Off for benchmarks: neither journal nor log grows.
    void setJournaling(bool on);

    /// Makes a call answer `result` from now on. `call` is the text of the journal, whole
    /// ("SetOption 4") or its first word alone ("SetOption"); the whole text goes first. Without it a
    /// call succeeds. A failing call changes nothing and hands nothing out; DoScan, DoMemoryScan
    /// and VardoAVInit play their script first.
    void setResult(const std::string& call, int result);

    /// The scan log: what LogMe was given, all levels, while a log was open.
    std::vector<scripted::LogLine> log() const;
    std::string logText() const;

    scripted::ScanOptions saved; ///< what the configuration file holds
    scripted::ScanOptions held;  ///< what the object in memory holds
    QS_InterfaceScanStatistics statistics{};
    bool statisticsAvailable = true; ///< false: GetStatistics answers null
    std::string scanError;
    scripted::Script scanScript;   ///< DoScan
    scripted::Script memoryScript; ///< DoMemoryScan
    scripted::Script initScript;   ///< VardoAVInit
    /// DoUpdate: its result, or what it throws, once it was called. Runs on the thread of the update.
    std::function<int(AVUpdateCallBack callback, AVUpdateContextData context)> updateRun;
    std::vector<int> callbackAnswers;
    std::vector<scripted::PromptAnswer> promptAnswers;

    QS_SystemType systemType = QS_KAVSystem;
    qsavInfo info{};

    scripted::UpdateOptions updateSaved;
    scripted::UpdateOptions updateHeld;

    /// The schedule store, by name.
    std::map<std::string, scripted::Schedule> schedules;

    /// True once VardoAVInit succeeded.
    std::atomic<bool> avLoaded = false;

    /// For the boundary's own code: notes a call and tells its result.
    int call(const std::string& text);
    void logMessage(unsigned char level, std::string text);
    void openLog();
    void closeLog();

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> journal_;
    std::map<std::string, int> results_;
    std::vector<scripted::LogLine> log_;
    bool journaling_ = true;
    bool logOpen_ = false;
};

/// The process's one scripted engine.
ScriptedEngine& scriptedEngine();
