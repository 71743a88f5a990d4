#include "tools/vardoscan/log.h"

#include "loglayout/scanlog.h"
#include "tools/vardoscan/options.h"

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

std::string logLocation(Vardo& engine)
{
    char location[2048] = {};
    engine.GetOption(SCANOPT_LOGLOCATION, location);
    return location;
}

bool startLog(Vardo& engine, const Options& options)
{
    if (engine.LogInit(nullptr, -1) < 0)
        return false;
    scanlog::writeBanner();
    if (options.memory)
        scanlog::writeLine(scanlog::memoryScanStarted);
    else if (const auto configuration = scanlog::readConfiguration(engine))
        scanlog::writeConfiguration(*configuration);
    return true;
}

std::string openLogFile()
{
    std::error_code none;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd", none)) {
        const fs::path file = fs::read_symlink(entry.path(), none);
        const std::string name = file.filename().string();
        if (name.starts_with("scan-") && name.ends_with(".log") && file.parent_path().filename() == "vardo")
            return file.string();
    }
    return {};
}

void logObject(const char* name, int type, int status, const char* virus, const char* remark)
{
    if (type == OBJTYPE_DIRECTORY)
        scanlog::writeDirectory(name);
    else if (scanlog::hasStatus(status))
        scanlog::writeObject(scanlog::objectLine(name, type, status, virus, remark), status);
}

bool endLog(Vardo& engine, const Options& options, int result)
{
    const std::string ended = engine.ScanError();
    const char* error = options.memory ? scanlog::memoryScanError : scanlog::scanError;
    if (result == SCANRESULT_CANCELLED)
        scanlog::writeLine(scanlog::cancelled);
    else if (result < 0)
        scanlog::writeLine((error + ended).c_str());
    else if (options.memory)
        scanlog::writeLine(scanlog::memoryScanDone);
    else
        scanlog::writeStatistics(*engine.GetStatistics());
    CloseLog();
    return engine.ScanError() == ended;
}
