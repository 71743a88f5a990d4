#include "tests/support/scriptedengine.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <variant>

using scripted::ScanOptions;
using scripted::UpdateOptions;

namespace {

/// `text`, or "(null)".
std::string shown(const char* text)
{
    return text ? text : "(null)";
}

/// `bits` as "0x10".
std::string hex(unsigned int bits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", bits);
    return text;
}

/// Notes the call made of `name` and `args`, divided by blanks, and tells its result.
template <class... Args>
int call(std::string name, const Args&... args)
{
    ((name += ' ', name += args), ...);
    return scriptedEngine().call(name);
}

/// `result`, after what a call that succeeds does.
template <class Action>
int after(int result, const Action& action)
{
    if (result >= 0)
        action();
    return result;
}

/// Moves an option's value between `field` and the caller's memory.
template <class T>
void move(T& field, void* value, bool set)
{
    std::memcpy(set ? static_cast<void*>(&field) : value, set ? value : &field, sizeof field);
}

void move(std::string& field, void* value, bool set)
{
    if (set)
        field = static_cast<const char*>(value);
    else
        std::strcpy(static_cast<char*>(value), field.c_str());
}

/// Where the option of each id is kept.
template <class Options>
using Fields = std::map<unsigned int, std::variant<unsigned char Options::*, unsigned int Options::*,
                                                   unsigned long Options::*, std::string Options::*>>;

const Fields<ScanOptions> scanFields = {
    {SCANOPT_ACTION, &ScanOptions::action},
    {SCANOPT_LOGLEVEL, &ScanOptions::logLevel},
    {SCANOPT_LOGLOCATION, &ScanOptions::logLocation},
    {SCANOPT_MEMSCAN, &ScanOptions::memScan},
    {SCANOPT_EXTENSIONS, &ScanOptions::extensions},
    {SCANOPT_EXCLUDEDIRS, &ScanOptions::excludeDirs},
    {SCANOPT_MAXDEPTH, &ScanOptions::maxDepth},
    {SCANOPT_MAXSIZE, &ScanOptions::maxSize},
    {SCANOPT_ACTDATA, &ScanOptions::actData},
    {SCANOPT_SCANOPTS, &ScanOptions::scanOpts},
    {SCANOPT_ALERT, &ScanOptions::alert},
    {SCANOPT_ALERTDAYS, &ScanOptions::alertDays},
};

const Fields<UpdateOptions> updateFields = {
    {UPDOPT_USEPROXY, &UpdateOptions::useProxy},         {UPDOPT_PROXYSERVER, &UpdateOptions::proxyServer},
    {UPDOPT_PROXYPORT, &UpdateOptions::proxyPort},       {UPDOPT_PROXYAUTH, &UpdateOptions::proxyAuth},
    {UPDOPT_PROXYUSER, &UpdateOptions::proxyUser},       {UPDOPT_PROXYPASS, &UpdateOptions::proxyPass},
    {UPDOPT_UPDATESERVER, &UpdateOptions::updateServer}, {UPDOPT_USEHTTPS, &UpdateOptions::useHttps},
    {UPDOPT_TIMEOUT, &UpdateOptions::timeOut},           {UPDOPT_NOOFRETRY, &UpdateOptions::noOfRetry},
    {UPDOPT_AUTOUPDATE, &UpdateOptions::autoUpdate},     {UPDOPT_UPDATEHOUR, &UpdateOptions::updateHour},
    {UPDOPT_UPDATEMINUTE, &UpdateOptions::updateMinute},
};

/// Sets or gets one option through the boundary.
template <class Options>
int transfer(const char* name, Options& options, const Fields<Options>& fields, unsigned int id, void* value,
             bool set)
{
    const int result = call(name, std::to_string(id));
    const auto field = fields.find(id);
    if (result < 0 || field == fields.end())
        return -1;
    std::visit([&](auto member) { move(options.*member, value, set); }, field->second);
    return result;
}

int finished(int result, bool complete)
{
    return result == 0 && !complete ? static_cast<int>(SCANRESULT_CANCELLED) : result;
}

} // namespace

ScanConfig::ScanConfig(const char* confFile)
    : scanOpts(0)
    , action(0)
    , logLevel(0)
    , memScan(0)
    , Alert(0)
    , AlertDays(0)
    , logLocation(nullptr)
    , ScanConfFile(confFile ? strdup(confFile) : nullptr)
    , extra(nullptr)
{
}

ScanConfig::~ScanConfig()
{
    std::free(ScanConfFile);
}

int ScanConfig::ReadConfiguration(const char* file)
{
    return after(call("ReadConfiguration", shown(file)),
                 [&] { scriptedEngine().held = scriptedEngine().saved; });
}

int ScanConfig::SaveConfiguration(const char* file)
{
    return after(call("SaveConfiguration", shown(file)),
                 [&] { scriptedEngine().saved = scriptedEngine().held; });
}

const char* ScanConfig::getConfigFile() const
{
    call("getConfigFile");
    return ScanConfFile;
}

int ScanConfig::SetScanOption(unsigned int bit)
{
    return after(call("SetScanOption", hex(bit)), [&] { scriptedEngine().held.scanOpts |= bit; });
}

int ScanConfig::UnsetScanOption(unsigned int bit)
{
    return after(call("UnsetScanOption", hex(bit)), [&] { scriptedEngine().held.scanOpts &= ~bit; });
}

int ScanConfig::SetOption(unsigned int id, void* value)
{
    return transfer("SetOption", scriptedEngine().held, scanFields, id, value, true);
}

int ScanConfig::GetOption(unsigned int id, void* value)
{
    // This one hands out where the text is.
    if (id == SCANOPT_EXCLUDEDIRS) {
        const int result = call("GetOption", std::to_string(id));
        if (result >= 0)
            *static_cast<const char**>(value) = scriptedEngine().held.excludeDirs.c_str();
        return result;
    }
    return transfer("GetOption", scriptedEngine().held, scanFields, id, value, false);
}

bool ScanConfig::MakeAlert(tm& date)
{
    char day[32] = "";
    std::strftime(day, sizeof day, "%Y-%m-%d", &date);
    return call("MakeAlert", day) > 0;
}

int ScanConfig::removeConfQoutes()
{
    return call("removeConfQoutes");
}

char Vardo::ScanObjDir = 'D';
char Vardo::ScanObjFile = 'F';

Vardo::Vardo(const char* confFile)
    : ScanConfig(confFile)
    , scanObjects(nullptr)
    , handle(nullptr)
    , request(nullptr)
    , result(nullptr)
{
    call("Vardo", shown(confFile));
}

Vardo::~Vardo()
{
    call("~Vardo");
}

int Vardo::SetObjectList(VardoObject* list)
{
    std::string text = "SetObjectList";
    for (const VardoObject* entry = list; entry; entry = entry->objNext)
        text += std::string(entry->objType == ScanObjDir ? " d:" : " f:") + shown(entry->objName);
    return call(text);
}

int Vardo::AddObject(const char* path)
{
    return call("AddObject", shown(path));
}

void Vardo::ClearObjects()
{
    call("ClearObjects");
}

int Vardo::SetActionData(const char* actData, const char* extension, bool save)
{
    const int outcome = call("SetActionData", shown(actData), shown(extension), save ? "1" : "0");
    if (outcome >= 0 && actData)
        scriptedEngine().held.actData = actData;
    return outcome;
}

int Vardo::LogInit(const char* file, int level)
{
    return after(call("LogInit", shown(file), std::to_string(level)), [&] { scriptedEngine().openLog(); });
}

bool Vardo::VardoIsAVLoaded()
{
    return call("VardoIsAVLoaded") >= 0 && scriptedEngine().avLoaded;
}

int Vardo::VardoAVInit(const char* avConf, QS_ResultCallBack cb, bool wait)
{
    const int outcome = call("VardoAVInit", shown(avConf), wait ? "1" : "0");
    scripted::Running(cb, nullptr, nullptr).play(scriptedEngine().initScript);
    scriptedEngine().avLoaded = outcome >= 0;
    return outcome;
}

int Vardo::DoScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, QS_actionPromptCallBack prompt)
{
    const int outcome = call("DoScan");
    return finished(outcome, scripted::Running(cb, ctx, prompt).play(scriptedEngine().scanScript));
}

int Vardo::DoMemoryScan(QS_ResultCallBack cb, QS_ResultContextData* ctx, bool all)
{
    const int outcome = call("DoMemoryScan", all ? "1" : "0");
    return finished(outcome, scripted::Running(cb, ctx, nullptr).play(scriptedEngine().memoryScript));
}

const char* Vardo::ScanError()
{
    call("ScanError");
    return scriptedEngine().scanError.c_str();
}

QS_InterfaceScanStatistics* Vardo::GetStatistics()
{
    call("GetStatistics");
    return scriptedEngine().statisticsAvailable ? &scriptedEngine().statistics : nullptr;
}

void Vardo::ResetResult()
{
    call("ResetResult");
    scriptedEngine().statistics = {};
}

QS_SystemType QS_GetSystemType()
{
    call("QS_GetSystemType");
    return scriptedEngine().systemType;
}

int GetQSAVInfo(QS_SystemType type, const char* avConf, struct_qsavinfo& info)
{
    return after(call("GetQSAVInfo", std::to_string(type), shown(avConf)),
                 [&] { info = scriptedEngine().info; });
}

void LogMe(unsigned char level, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    scriptedEngine().logMessage(level, length < 0 ? "" : text);
    std::free(text);
}

void CloseLog()
{
    call("CloseLog");
    scriptedEngine().closeLog();
}

int vUpdateConf::UpdateConf = 41;
int vUpdateConf::PathConf = 42;

vUpdateConf::vUpdateConf(const char*, const char*)
{
}

int vUpdateConf::ReadConfiguration(int part, const char* file)
{
    const int result =
        call("vUpdate::ReadConfiguration", part == UpdateConf ? "UpdateConf" : "PathConf", shown(file));
    if (result >= 0 && part == UpdateConf)
        scriptedEngine().updateHeld = scriptedEngine().updateSaved;
    return result;
}

int vUpdateConf::SaveConfiguration(const char* file)
{
    return after(call("vUpdate::SaveConfiguration", shown(file)),
                 [&] { scriptedEngine().updateSaved = scriptedEngine().updateHeld; });
}

vUpdate::vUpdate(const char* qsavConf, const char* updateConf)
    : vUpdateConf(qsavConf, updateConf)
    , updateRunning(0)
    , updater(nullptr)
{
    call("vUpdate", shown(qsavConf), shown(updateConf));
}

vUpdate::~vUpdate()
{
    call("~vUpdate");
}

int vUpdate::GetOption(unsigned int id, void* value)
{
    return transfer("vUpdate::GetOption", scriptedEngine().updateHeld, updateFields, id, value, false);
}

int vUpdate::SetOption(unsigned int id, void* value)
{
    return transfer("vUpdate::SetOption", scriptedEngine().updateHeld, updateFields, id, value, true);
}

int vUpdate::DoUpdate(AVUpdateCallBack callback, AVUpdateContextData context, const char* arg)
{
    const int result = call("DoUpdate", shown(arg));
    return scriptedEngine().updateRun ? scriptedEngine().updateRun(callback, context) : result;
}

void signal_update_term(int signal)
{
    call("signal_update_term", std::to_string(signal));
}
