#include "engine/vardo.h"

#include "base/systemerror.h"
#include "libvardo/enginestate.h"
#include "libvardo/scanlog.h"

#include <climits>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

vardo::EngineState& stateOf(QS_AVPHandle handle)
{
    return *static_cast<vardo::EngineState*>(handle);
}

/// `path` from the root on, since the working directory may be another one when the scan starts.
std::string absolutePath(const char* path)
{
    if (path[0] == '/')
        return path;
    char directory[PATH_MAX];
    if (!::getcwd(directory, sizeof directory))
        return path;
    std::string_view rest(path);
    while (rest.substr(0, 2) == "./")
        rest.remove_prefix(2);
    std::string absolute(directory);
    if (rest.empty() || rest == ".")
        return absolute;
    if (absolute != "/")
        absolute += '/';
    return absolute.append(rest);
}

bool isBelow(std::string_view path, std::string_view directory)
{
    if (directory == "/")
        return true;
    return path.substr(0, directory.size()) == directory &&
           (path.size() == directory.size() || path[directory.size()] == '/');
}

/// Appends to a list that may still be empty and ends in `last`, without walking through it. Negative when
/// that fails.
int append(VardoObject*& list, VardoObject*& last, const char* name, int type)
{
    if (!last)
        list = last = new VardoObject(name, type);
    else if (last->AddNext(name, static_cast<char>(type)) < 0)
        return -1;
    else
        last = last->objNext;
    return 0;
}

} // namespace

char Vardo::ScanObjDir = 'D';
char Vardo::ScanObjFile = 'F';

Vardo::Vardo(const char* confFile)
    : ScanConfig(confFile)
    , scanObjects(nullptr)
    , handle(new vardo::EngineState)
    , request(new QS_InterfaceScanRequest{})
    , result(new QS_IntefaceScanResult{})
{
}

Vardo::Vardo(ScanConfig& config)
    : ScanConfig(config)
    , scanObjects(nullptr)
    , handle(new vardo::EngineState)
    , request(new QS_InterfaceScanRequest{})
    , result(new QS_IntefaceScanResult{})
{
}

Vardo::~Vardo()
{
    ClearObjects();
    delete result;
    delete request;
    delete static_cast<vardo::EngineState*>(handle);
}

int Vardo::SetObjectList(VardoObject* list)
{
    if (!list)
        return -1;
    ClearObjects();
    return AddObjectList(list);
}

int Vardo::AddObjectList(VardoObject* list)
{
    for (; list; list = list->objNext) {
        if (list->objName &&
            append(scanObjects, stateOf(handle).lastObject, list->objName, list->objType) < 0)
            return -1;
    }
    return 0;
}

int Vardo::AddObject(const char* path)
{
    if (!path || !*path)
        return -1;
    struct stat status = {};
    if (::stat(path, &status) != 0 && ::lstat(path, &status) != 0) {
        stateOf(handle).error = std::string(path) + ": " + base::describeError(errno);
        return -1;
    }
    return append(scanObjects, stateOf(handle).lastObject, absolutePath(path).c_str(),
                  S_ISDIR(status.st_mode) ? ScanObjDir : ScanObjFile);
}

int Vardo::GetObjectList(VardoObject** list)
{
    if (!list)
        return -1;
    *list = nullptr;
    VardoObject* last = nullptr;
    for (const VardoObject* object = scanObjects; object; object = object->objNext) {
        if (append(*list, last, object->objName, object->objType) < 0)
            return -1;
    }
    return 0;
}

void Vardo::ClearObjects()
{
    if (scanObjects)
        scanObjects->ClearList();
    scanObjects = nullptr;
    stateOf(handle).lastObject = nullptr;
}

bool Vardo::isObjectInScanList(const char* path, bool exact)
{
    for (const VardoObject* object = scanObjects; path && object; object = object->objNext) {
        const std::string_view name(object->objName);
        if (exact ? name == path : isBelow(path, name))
            return true;
    }
    return false;
}

void Vardo::SetWorkers(unsigned int count)
{
    stateOf(handle).workers = count;
}

int Vardo::SetActionData(const char* actData, const char* extension, bool save)
{
    vardo::EngineState& state = stateOf(handle);
    if (actData && actData[0] == '/')
        state.quarantineDir = actData;
    if (extension)
        state.renameExtension = extension;
    if (!save || !actData)
        return 0;
    qs_fString data = {};
    if (std::string_view(actData).copy(data, sizeof data - 1) < std::string_view(actData).size())
        return -1;
    return SetOption(SCANOPT_ACTDATA, data);
}

int Vardo::LogInit(const char* file, int level)
{
    char location[2048] = {};
    unsigned int logLevel_ = static_cast<unsigned int>(level);
    if (level < 0 && GetOption(SCANOPT_LOGLEVEL, &logLevel_) < 0)
        return -1;
    if (!file && GetOption(SCANOPT_LOGLOCATION, location) < 0)
        return -1;
    return vardo::openScanLog(file ? file : location, logLevel_) ? 0 : -1;
}

const char* Vardo::ScanError()
{
    // LogMe and CloseLog have no result of their own.
    if (std::string failure = vardo::takeLogFailure(); !failure.empty())
        stateOf(handle).error = std::move(failure);
    return stateOf(handle).error.c_str();
}

QS_InterfaceScanStatistics* Vardo::GetStatistics()
{
    return &result->scanStatistics;
}

void Vardo::ResetResult()
{
    *result = {};
    stateOf(handle).error.clear();
    stateOf(handle).remembered = 0;
}
