#include "tests/support/scriptedboundary.h"

#include <cstdarg>
#include <cstdlib>

using scripted::call;
using scripted::hex;
using scripted::shown;

namespace {

/// The size that callers give for SCANOPT_LOGLOCATION.
constexpr std::size_t logLocationSize = 2048;

int transferOption(scripted::ScanOptions& options, unsigned int id, const scripted::OptionTransfer& transfer)
{
    switch (id) {
    case SCANOPT_ACTION:
        return transfer.number(options.action);
    case SCANOPT_LOGLEVEL:
        return transfer.number(options.logLevel);
    case SCANOPT_LOGLOCATION:
        return transfer.text(options.logLocation, logLocationSize);
    case SCANOPT_MEMSCAN:
        return transfer.number(options.memScan);
    case SCANOPT_EXTENSIONS:
        return transfer.text(options.extensions, sizeof(qs_lString));
    case SCANOPT_EXCLUDEDIRS:
        return transfer.pointer(options.excludeDirs);
    case SCANOPT_MAXDEPTH:
        return transfer.number(options.maxDepth);
    case SCANOPT_MAXSIZE:
        return transfer.number(options.maxSize);
    case SCANOPT_ACTDATA:
        return transfer.text(options.actData, sizeof(qs_fString));
    case SCANOPT_SCANOPTS:
        return transfer.number(options.scanOpts);
    case SCANOPT_ALERT:
        return transfer.number(options.alert);
    case SCANOPT_ALERTDAYS:
        return transfer.number(options.alertDays);
    default:
        return -1;
    }
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
    const int result = call("ReadConfiguration", shown(file));
    if (result >= 0)
        scriptedEngine().held = scriptedEngine().saved;
    return result;
}

int ScanConfig::SaveConfiguration(const char* file)
{
    const int result = call("SaveConfiguration", shown(file));
    if (result >= 0)
        scriptedEngine().saved = scriptedEngine().held;
    return result;
}

const char* ScanConfig::getConfigFile() const
{
    call("getConfigFile");
    return ScanConfFile;
}

int ScanConfig::SetScanOption(unsigned int bit)
{
    const int result = call("SetScanOption", hex(bit));
    if (result >= 0)
        scriptedEngine().held.scanOpts |= bit;
    return result;
}

int ScanConfig::UnsetScanOption(unsigned int bit)
{
    const int result = call("UnsetScanOption", hex(bit));
    if (result >= 0)
        scriptedEngine().held.scanOpts &= ~bit;
    return result;
}

int ScanConfig::SetAction(unsigned int code)
{
    const int result = call("SetAction", std::to_string(code));
    if (result >= 0)
        scriptedEngine().held.action = code;
    return result;
}

int ScanConfig::SetOption(unsigned int id, void* value)
{
    const int result = call("SetOption", std::to_string(id));
    return scripted::after(result, [&] { return transferOption(scriptedEngine().held, id, {value, true}); });
}

int ScanConfig::GetOption(unsigned int id, void* value)
{
    const int result = call("GetOption", std::to_string(id));
    return scripted::after(result, [&] { return transferOption(scriptedEngine().held, id, {value, false}); });
}

bool ScanConfig::MakeAlert(tm& date)
{
    char day[32] = "";
    std::strftime(day, sizeof day, "%Y-%m-%d", &date);
    call("MakeAlert", day);
    return scriptedEngine().alertDue;
}

bool ScanConfig::MakeAlert(const char* avConf)
{
    call("MakeAlert", shown(avConf));
    return scriptedEngine().alertDue;
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
    std::vector<std::string> names;
    for (const VardoObject* entry = list; entry; entry = entry->objNext) {
        names.push_back(shown(entry->objName));
        text += entry->objType == ScanObjDir ? " d:" : " f:";
        text += names.back();
    }
    const int outcome = call(text);
    if (outcome >= 0)
        scriptedEngine().objects = std::move(names);
    return outcome;
}

int Vardo::AddObject(const char* path)
{
    const int outcome = call("AddObject", shown(path));
    if (outcome >= 0)
        scriptedEngine().objects.push_back(shown(path));
    return outcome;
}

void Vardo::ClearObjects()
{
    call("ClearObjects");
    scriptedEngine().objects.clear();
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
    const int outcome = call("LogInit", shown(file), std::to_string(level));
    if (outcome >= 0)
        scriptedEngine().openLog();
    return outcome;
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

void Vardo::VardoAVDeinit(QS_ResultCallBack)
{
    call("VardoAVDeinit");
    scriptedEngine().avLoaded = false;
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
    const int result = call("GetQSAVInfo", std::to_string(type), shown(avConf));
    if (result >= 0)
        info = scriptedEngine().info;
    return result;
}

void LogMe(unsigned char level, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    scriptedEngine().logMessage(level, std::move(text));
}

void CloseLog()
{
    call("CloseLog");
    scriptedEngine().closeLog();
}
