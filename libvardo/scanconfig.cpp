#include "engine/vardo.h"

#include "base/paths.h"
#include "base/replacefile.h"
#include "base/rootsway.h"
#include "libvardo/conffile.h"
#include "libvardo/enginesettings.h"
#include "libvardo/options.h"
#include "libvardo/ownedtext.h"
#include "libvardo/scanlog.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include <unistd.h>

namespace {

using vardo::ConfFile;
using vardo::ConfWord;

constexpr unsigned defaultAlertDays = 15;
constexpr unsigned mostAlertDays = 3650;
constexpr unsigned char defaultMaxDepth = 20;
constexpr unsigned long defaultMaxSize = 100ul << 20;
constexpr std::size_t longestLocation = 2047;

constexpr ConfWord actionWords[] = {{"log", SCANACT_LOG},       {"delete", SCANACT_DELETE},
                                    {"rename", SCANACT_RENAME}, {"quarantine", SCANACT_QUARANTINE},
                                    {"prompt", SCANACT_PROMPT}, {nullptr, 0}};

constexpr ConfWord levelWords[] = {{"minimum", LOGLEVEL_MINIMUM},
                                   {"infected", LOGLEVEL_INFECTED},
                                   {"all", LOGLEVEL_ALL},
                                   {"0", 0}, // less than the least, and shown as that
                                   {nullptr, 0}};

/// A key that stands for one option bit, which is set when the key says no (`inverted`) or yes.
struct FlagKey
{
    const char* key;
    unsigned bit;
    bool inverted;
    bool fallback;
};

constexpr FlagKey flagKeys[] = {
    {"Scan:Recursive", SCANFLAG_NO_RECURSE, true, true},
    {"Scan:ScanArchives", SCANFLAG_NO_ARCHIVES, true, true},
    {"Scan:ScanMails", SCANFLAG_NO_MAILS, true, true},
    {"Scan:ScanPacked", SCANFLAG_NO_PACKED, true, true},
    {"Scan:Heuristics", SCANFLAG_NO_HEURISTIC, true, true},
    {"Scan:CrossFileSystems", SCANFLAG_CROSS_FS, false, false},
    {"Scan:FollowSymlinks", SCANFLAG_FOLLOW_SYMLINKS, false, false},
    {"Scan:Disinfect", SCANFLAG_DISINFECT, false, false},
    {"Scan:OnlyExtensions", SCANFLAG_INCLUDE_EXTENSIONS, false, false},
    {"Scan:SkipExtensions", SCANFLAG_EXCLUDE_EXTENSIONS, false, false},
    {"Scan:SkipDirs", SCANFLAG_EXCLUDE_DIRS, false, false},
    {"Scan:LimitDepth", SCANFLAG_MAX_DEPTH, false, false},
    {"Scan:LimitSize", SCANFLAG_MAX_SIZE, false, false},
};

constexpr unsigned knownBits = [] {
    unsigned bits = SCANFLAG_NO_DISINFECT;
    for (const FlagKey& flag : flagKeys)
        bits |= flag.bit;
    return bits;
}();

unsigned readFlags(const ConfFile& conf)
{
    unsigned bits = 0;
    for (const FlagKey& flag : flagKeys)
        if (conf.flag(flag.key, flag.fallback) != flag.inverted)
            bits |= flag.bit;
    return bits & SCANFLAG_DISINFECT ? bits : bits | SCANFLAG_NO_DISINFECT;
}

} // namespace

ScanConfig::ScanConfig(const char* confFile)
    : scanOpts(SCANFLAG_NO_DISINFECT)
    , action(SCANACT_LOG)
    , logLevel(LOGLEVEL_INFECTED)
    , memScan(0)
    , Alert(1)
    , AlertDays(defaultAlertDays)
    , logLocation(vardo::ownedText(paths::logs))
    , ScanConfFile(vardo::ownedText(confFile))
    , extra(new QS_ScanExtraData{})
{
    std::memcpy(extra->actData, paths::quarantine, sizeof paths::quarantine);
    extra->maxDepth = defaultMaxDepth;
    extra->maxSize = defaultMaxSize;
}

ScanConfig::ScanConfig(ScanConfig& other)
    : ScanConfig(nullptr)
{
    *this = other;
}

ScanConfig::~ScanConfig()
{
    std::free(logLocation);
    std::free(ScanConfFile);
    std::free(extra->excludeDirs);
    delete extra;
}

ScanConfig& ScanConfig::operator=(ScanConfig& other)
{
    if (this == &other)
        return *this;
    scanOpts = other.scanOpts;
    action = other.action;
    logLevel = other.logLevel;
    memScan = other.memScan;
    Alert = other.Alert;
    AlertDays = other.AlertDays;
    vardo::assignText(logLocation, other.logLocation);
    vardo::assignText(ScanConfFile, other.ScanConfFile);
    char* dirs = extra->excludeDirs;
    *extra = *other.extra;
    extra->excludeDirs = dirs;
    vardo::assignText(extra->excludeDirs, other.extra->excludeDirs);
    return *this;
}

int ScanConfig::ReadConfiguration(const char* file)
{
    const char* path = file ? file : ScanConfFile;
    const auto conf = path ? ConfFile::read(path) : std::nullopt;
    if (!conf)
        return -1;
    ScanConfig fresh(ScanConfFile);
    fresh.scanOpts = readFlags(*conf);
    fresh.action = conf->word("Scan:Action", actionWords, SCANACT_LOG);
    fresh.logLevel = conf->word("Log:Level", levelWords, LOGLEVEL_INFECTED);
    fresh.memScan = conf->flag("Scan:ScanMemoryAtStart", false);
    fresh.Alert = conf->flag("Alert:WarnOldSignatures", true);
    fresh.AlertDays = static_cast<unsigned>(conf->number("Alert:Days", 1, mostAlertDays, defaultAlertDays));
    fresh.extra->maxDepth =
        static_cast<unsigned char>(conf->number("Scan:MaxDepth", 0, 255, defaultMaxDepth));
    fresh.extra->maxSize = conf->number("Scan:MaxSize", 0, ~0ul, defaultMaxSize);
    std::string location =
        vardo::logLocationCounts(*conf) ? conf->text("Log:Location").value_or("") : paths::logs;
    fresh.SetOption(SCANOPT_LOGLOCATION, location.data());
    std::string dirs = conf->text("Scan:ExcludeDirs").value_or("");
    char* dirList = dirs.data();
    fresh.SetOption(SCANOPT_EXCLUDEDIRS, &dirList);
    std::string extensions = conf->text("Scan:Extensions").value_or("");
    fresh.SetOption(SCANOPT_EXTENSIONS, extensions.data());
    if (auto data = conf->text("Scan:ActionData")) {
        if (data->starts_with('/'))
            data = conf->safePath("Scan:ActionData", paths::quarantine);
        fresh.SetOption(SCANOPT_ACTDATA, data->data());
    }
    *this = fresh;
    return 0;
}

int ScanConfig::SaveConfiguration(const char* file)
{
    const char* path = file ? file : ScanConfFile;
    auto conf = path ? ConfFile::readOrNew(path) : std::nullopt;
    if (!conf)
        return -1;
    for (const FlagKey& flag : flagKeys)
        conf->setFlag(flag.key, ((scanOpts & flag.bit) != 0) != flag.inverted);
    conf->setWord("Scan:Action", actionWords, action);
    conf->set("Scan:ActionData", extra->actData);
    conf->set("Scan:Extensions", extra->extensions);
    conf->set("Scan:ExcludeDirs", extra->excludeDirs ? extra->excludeDirs : "");
    conf->set("Scan:MaxDepth", std::to_string(extra->maxDepth));
    conf->set("Scan:MaxSize", std::to_string(extra->maxSize));
    conf->setFlag("Scan:ScanMemoryAtStart", memScan);
    conf->setWord("Log:Level", levelWords, logLevel);
    conf->set("Log:Location", logLocation ? logLocation : "");
    conf->setFlag("Alert:WarnOldSignatures", Alert);
    conf->set("Alert:Days", std::to_string(AlertDays));
    // Root's own choice counts from now on, whoever may write the file that it stands in.
    if (::geteuid() == 0 && logLocation && base::isRootsDirectory(logLocation))
        vardo::markLogFolder(logLocation);
    return conf->save(path) ? 0 : -1;
}

const char* ScanConfig::getConfigFile() const
{
    return ScanConfFile;
}

int ScanConfig::SetScanOption(unsigned int bit)
{
    if (!bit || (bit & ~knownBits))
        return -1;
    scanOpts |= bit;
    return 0;
}

int ScanConfig::UnsetScanOption(unsigned int bit)
{
    if (!bit || (bit & ~knownBits))
        return -1;
    scanOpts &= ~bit;
    return 0;
}

int ScanConfig::SetAction(unsigned int wanted)
{
    return SetOption(SCANOPT_ACTION, &wanted);
}

std::vector<vardo::Option> EngineOptions::of(ScanConfig& config)
{
    using namespace vardo;
    QS_ScanExtraData& extra = *config.extra;
    return {
        {SCANOPT_ACTION, Number<unsigned>{&config.action, SCANACT_LOG, SCANACT_PROMPT}},
        {SCANOPT_LOGLEVEL, Number<unsigned>{&config.logLevel, LOGLEVEL_MINIMUM, LOGLEVEL_ALL}},
        {SCANOPT_LOGLOCATION, HeapText{&config.logLocation, longestLocation, HeapText::Kind::AbsolutePath}},
        {SCANOPT_MEMSCAN, Number<unsigned char>{&config.memScan, 0, 1}},
        {SCANOPT_EXTENSIONS, BufferText{extra.extensions, sizeof extra.extensions}},
        {SCANOPT_EXCLUDEDIRS, TextPointer{&extra.excludeDirs}},
        {SCANOPT_MAXDEPTH, Number<unsigned char>{&extra.maxDepth, 0, 255}},
        {SCANOPT_MAXSIZE, Number<unsigned long>{&extra.maxSize, 0, ~0ul}},
        {SCANOPT_ACTDATA, BufferText{extra.actData, sizeof extra.actData}},
        {SCANOPT_SCANOPTS, Number<unsigned>{&config.scanOpts, 0, ~0u, knownBits}},
        {SCANOPT_ALERT, Number<unsigned char>{&config.Alert, 0, 1}},
        {SCANOPT_ALERTDAYS, Number<unsigned>{&config.AlertDays, 1, mostAlertDays}},
    };
}

int ScanConfig::SetOption(unsigned int id, void* value)
{
    return vardo::takeOption(EngineOptions::of(*this), id, value);
}

int ScanConfig::GetOption(unsigned int id, void* value)
{
    return vardo::giveOption(EngineOptions::of(*this), id, value);
}

bool ScanConfig::MakeAlert(tm& date)
{
    struct tm copy = date; // mktime corrects what it is given
    copy.tm_isdst = -1;
    const std::time_t made = std::mktime(&copy);
    return Alert && made != -1 && std::difftime(std::time(nullptr), made) > AlertDays * 86400.0;
}

bool ScanConfig::MakeAlert(const char* avConf)
{
    struct_qsavinfo info = {};
    return GetQSAVInfo(QS_GetSystemType(), avConf, info) >= 0 && MakeAlert(info.udate);
}

int ScanConfig::removeConfQoutes()
{
    if (!ScanConfFile)
        return -1;
    struct stat status = {};
    const auto text = base::readRegularFile(ScanConfFile, 1 << 20, status);
    return text && base::replaceFile(ScanConfFile, vardo::withoutQuotes(text.value())) ? 0 : -1;
}
