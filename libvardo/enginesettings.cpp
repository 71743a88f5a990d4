#include "libvardo/enginesettings.h"

#include "base/paths.h"
#include "libvardo/conffile.h"

#include <algorithm>

namespace vardo {

namespace {

ConfFile readOr(const char* file, const char* fallback)
{
    return ConfFile::read(file ? file : fallback).value_or(ConfFile());
}

ServicePaths servicePaths(const ConfFile& conf)
{
    ServicePaths paths;
    paths.socket = conf.safePath("path:LocalSocketPath", paths::serviceSocket);
    paths.pidFile = conf.safePath("path:AVSpidPATH", paths::servicePid);
    paths.signatureDirs = {conf.safePath("path:SignaturePath", paths::signatures)};
    // The distribution's set, until our first update has brought one of our own.
    const std::string system = conf.text("path:SystemSignaturePath").value_or(paths::systemSignatures);
    if (system.starts_with('/'))
        paths.substituteDir = conf.safePath("path:SystemSignaturePath", paths::systemSignatures);
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

ServicePaths loadServicePaths(const char* avConf)
{
    return servicePaths(readOr(avConf, paths::qsavConf));
}

EngineSettings loadEngineSettings(const char* avConf, const char* scanConf)
{
    const ConfFile av = readOr(avConf, paths::qsavConf);
    const ConfFile scan = readOr(scanConf, paths::vardoConf);
    EngineSettings settings{servicePaths(av), limits(scan),
                            av.safePath("path:QuarantinePath", paths::quarantine), false};
    constexpr ConfWord mailFolderWords[] = {{"report", 0}, {"act", 1}, {nullptr, 0}};
    settings.mailFolders = scan.word("Scan:MailFolders", mailFolderWords, 0) == 1;
    takeNumber<unsigned>(scan, "Service:IdleMinutes", 1, 1440, settings.service.idleMinutes);
    return settings;
}

} // namespace vardo
