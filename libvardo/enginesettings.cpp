#include "libvardo/enginesettings.h"

#include "base/paths.h"
#include "base/rootsway.h"
#include "libvardo/conffile.h"

#include <algorithm>

#include <unistd.h>

namespace vardo {

namespace {

ConfFile readOr(const char* file, const char* fallback)
{
    return ConfFile::read(file ? file : fallback).value_or(ConfFile());
}

/// For root in a directory of root's alone: elsewhere anybody could block the place, or sit there instead.
/// The place of former versions stands for the present one.
std::string placeOf(const ConfFile& conf, const char* key, const char* usual, const char* former,
                    ConfFile::Refusals& refused)
{
    if (conf.path(key, usual) == former)
        return usual;
    std::string path = conf.safePath(key, usual, &refused);
    if (::geteuid() != 0 || path == usual || base::isRootsDirectory(path.substr(0, path.rfind('/') + 1)))
        return path;
    refused.push_back(conf.refusal(key, usual));
    return usual;
}

ServicePaths servicePaths(const ConfFile& conf, ConfFile::Refusals& refused)
{
    ServicePaths paths;
    paths.socket = placeOf(conf, "path:LocalSocketPath", paths::serviceSocket, paths::formerSocket, refused);
    paths.pidFile = placeOf(conf, "path:AVSpidPATH", paths::servicePid, paths::formerPid, refused);
    paths.signatureDirs = {conf.safePath("path:SignaturePath", paths::signatures, &refused)};
    // The distribution's set, until our first update has brought one of our own.
    const std::string system = conf.text("path:SystemSignaturePath").value_or(paths::systemSignatures);
    if (system.starts_with('/'))
        paths.substituteDir = conf.safePath("path:SystemSignaturePath", paths::systemSignatures, &refused);
    return paths;
}

template <class Number>
void takeNumber(const ConfFile& conf, const char* key, Number least, Number most, Number& number,
                Number unit = 1)
{
    number = static_cast<Number>(conf.number(key, least, most, number / unit) * unit);
}

SessionOptions limits(const ConfFile& conf)
{
    constexpr std::uint64_t megabyte = 1 << 20;
    SessionOptions limits;
    takeNumber<std::uint64_t>(conf, "Limits:MaxFileMB", 1, 4000, limits.maxFileSize, megabyte);
    takeNumber<std::uint64_t>(conf, "Limits:MaxScanMB", 1, 16000, limits.maxScanSize, megabyte);
    takeNumber<std::uint32_t>(conf, "Limits:MaxRecursion", 1, 100, limits.maxRecursion);
    takeNumber<std::uint32_t>(conf, "Limits:MaxFiles", 1, 1000000, limits.maxFiles);
    takeNumber<std::uint32_t>(conf, "Limits:MaxSeconds", 1, 3600, limits.maxSeconds);
    takeNumber<unsigned>(conf, "Limits:Workers", 0, 64, limits.workers);
    return limits;
}

} // namespace

bool logLocationCounts(const ConfFile& conf)
{
    const std::string location = conf.path("Log:Location", paths::logs);
    const std::string folder = location + "/" + paths::logFolder;
    return !conf.foreign() || location == paths::logs ||
           (base::isRootsDirectory(folder) && ::access((folder + "/" + paths::logMark).c_str(), F_OK) == 0);
}

ServicePaths loadServicePaths(const char* avConf)
{
    ConfFile::Refusals refused;
    return servicePaths(readOr(avConf, paths::qsavConf), refused);
}

EngineSettings loadEngineSettings(const char* avConf, const char* scanConf)
{
    const ConfFile av = readOr(avConf, paths::qsavConf);
    const ConfFile scan = readOr(scanConf, paths::vardoConf);
    EngineSettings settings;
    settings.service = servicePaths(av, settings.refused);
    settings.limits = limits(scan);
    settings.quarantineDir = av.safePath("path:QuarantinePath", paths::quarantine, &settings.refused);
    scan.safePath("Scan:ActionData", paths::quarantine, &settings.refused); // for its word
    if (!logLocationCounts(scan))
        settings.refused.push_back(scan.refusal("Log:Location", paths::logs));
    constexpr ConfWord mailFolderWords[] = {{"report", 0}, {"act", 1}, {nullptr, 0}};
    settings.remembers = scan.flag("Scan:Remember", true);
    settings.remember.directory = av.safePath("path:RememberPath", paths::rememberedFiles, &settings.refused);
    takeNumber<unsigned>(scan, "Scan:RescanDays", 0, 365, settings.remember.rescanDays);
    settings.gentle = scan.flag("Scan:Gentle", false);
    settings.mailFolders = scan.word("Scan:MailFolders", mailFolderWords, 0) == 1;
    takeNumber<unsigned>(scan, "Service:IdleMinutes", 1, 1440, settings.service.idleMinutes);
    return settings;
}

} // namespace vardo
