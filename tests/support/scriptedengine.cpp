#include "tests/support/scriptedengine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <thread>

namespace scripted {

Step report(std::string name, int status, const char* virus, const char* remark, int objectType)
{
    const auto keep = [](const char* text) { return text ? std::optional<std::string>(text) : std::nullopt; };
    return [=, name = std::move(name), virus = keep(virus), remark = keep(remark)](Running& scan) {
        return scan.report(name.c_str(), objectType, status, virus ? virus->c_str() : nullptr,
                           remark ? remark->c_str() : nullptr);
    };
}

Step directory(std::string name)
{
    return report(std::move(name), 0, nullptr, nullptr, OBJTYPE_DIRECTORY);
}

Step beat()
{
    return report("", 0);
}

Step beatUntil(std::function<bool()> condition)
{
    return [condition = std::move(condition)](Running& scan) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            if (scan.report("", OBJTYPE_FILE, 0, nullptr, nullptr) == CALLBACK_STOP)
                return static_cast<int>(CALLBACK_STOP);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return static_cast<int>(CALLBACK_CONTINUE);
    };
}

Step count(std::function<void(QS_InterfaceScanStatistics&)> change)
{
    return [change = std::move(change)](Running& scan) {
        change(scan.statistics());
        return static_cast<int>(CALLBACK_CONTINUE);
    };
}

Step ask(std::string name)
{
    return [name = std::move(name)](Running& scan) { return scan.ask(name); };
}

Step run(std::function<void()> action)
{
    return [action = std::move(action)](Running&) {
        action();
        return static_cast<int>(CALLBACK_CONTINUE);
    };
}

Running::Running(QS_ResultCallBack callback, QS_ResultContextData* context, QS_actionPromptCallBack prompt)
    : callback_(callback)
    , context_(context)
    , prompt_(prompt)
{
}

int Running::report(const char* name, int objectType, int status, const char* virus, const char* remark)
{
    const int answer =
        callback_ ? callback_(name, objectType, status, virus, remark, context_) : CALLBACK_CONTINUE;
    scriptedEngine().callbackAnswers.push_back(answer);
    return answer;
}

int Running::ask(const std::string& name)
{
    std::array<char, sizeof(qs_fString)> actData{};
    const int code = prompt_ ? prompt_(name.c_str(), actData.data()) : PROMPT_NOTHING;
    actData.back() = '\0';
    scriptedEngine().promptAnswers.push_back({code, actData.data()});
    return CALLBACK_CONTINUE;
}

QS_InterfaceScanStatistics& Running::statistics()
{
    return scriptedEngine().statistics;
}

bool Running::play(const Script& script)
{
    for (const Step& step : script) {
        if (step(*this) == CALLBACK_STOP)
            return false;
    }
    return true;
}

} // namespace scripted

ScriptedEngine& scriptedEngine()
{
    static ScriptedEngine engine;
    return engine;
}

void ScriptedEngine::reset()
{
    clearJournal();
    const std::lock_guard lock(mutex_);
    results_.clear();
    log_.clear();
    journaling_ = true;
    logOpen_ = false;
    saved = held = {};
    statistics = {};
    statisticsAvailable = true;
    scanError.clear();
    scanScript.clear();
    memoryScript.clear();
    initScript.clear();
    callbackAnswers.clear();
    promptAnswers.clear();
    systemType = QS_KAVSystem;
    info = {};
    updateSaved = updateHeld = {};
    updateRun = nullptr;
    schedules.clear();
    avLoaded = false;
}

std::vector<std::string> ScriptedEngine::journal() const
{
    const std::lock_guard lock(mutex_);
    return journal_;
}

std::vector<std::string> ScriptedEngine::changes() const
{
    static constexpr std::array<std::string_view, 8> readers = {
        "GetOption", "GetStatistics", "getConfigFile",      "VardoIsAVLoaded",
        "ScanError", "LogMe",         "vUpdate::GetOption", "vSchedule::GetOption",
    };
    std::vector<std::string> kept;
    for (const std::string& text : journal()) {
        const std::string_view name = std::string_view(text).substr(0, text.find(' '));
        if (std::find(readers.begin(), readers.end(), name) == readers.end())
            kept.push_back(text);
    }
    return kept;
}

void ScriptedEngine::clearJournal()
{
    const std::lock_guard lock(mutex_);
    journal_.clear();
}

void ScriptedEngine::setJournaling(bool on)
{
    const std::lock_guard lock(mutex_);
    journaling_ = on;
}

void ScriptedEngine::setResult(const std::string& call, int result)
{
    const std::lock_guard lock(mutex_);
    results_[call] = result;
}

std::vector<scripted::LogLine> ScriptedEngine::log() const
{
    const std::lock_guard lock(mutex_);
    return log_;
}

std::string ScriptedEngine::logText() const
{
    std::string text;
    for (const scripted::LogLine& line : log())
        text += line.text;
    return text;
}

int ScriptedEngine::call(const std::string& text)
{
    const std::lock_guard lock(mutex_);
    if (journaling_)
        journal_.push_back(text);
    if (results_.empty())
        return 0;
    if (const auto whole = results_.find(text); whole != results_.end())
        return whole->second;
    const auto name = results_.find(text.substr(0, text.find(' ')));
    return name != results_.end() ? name->second : 0;
}

void ScriptedEngine::logMessage(unsigned char level, std::string text)
{
    call("LogMe " + std::to_string(level) + " " + text);
    const std::lock_guard lock(mutex_);
    if (logOpen_ && journaling_)
        log_.push_back({level, std::move(text)});
}

void ScriptedEngine::openLog()
{
    const std::lock_guard lock(mutex_);
    logOpen_ = true;
}

void ScriptedEngine::closeLog()
{
    const std::lock_guard lock(mutex_);
    logOpen_ = false;
}
