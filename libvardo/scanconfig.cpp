#include "engine/vardo.h"

#include "base/paths.h"
#include "base/replacefile.h"
#include "libvardo/conffile.h"
#include "libvardo/ownedtext.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

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

/// Copies `text` into a buffer of `size` bytes; false, with the buffer untouched, when it does not fit or
/// no configuration file could hold it.
bool copyText(char* buffer, std::size_t size, const char* text)
{
    const std::size_t length = text ? ::strnlen(text, size) : size;
    if (length >= size || !vardo::isStorable({text, length}))
        return false;
    std::memset(buffer, 0, size);
    std::memcpy(buffer, text, length);
    return true;
}

template <class T>
bool setWithin(T& field, const void* value, T least, T most)
{
    const T wanted = *static_cast<const T*>(value);
    if (wanted < least || wanted > most)
        return false;
    field = wanted;
    return true;
}

template <class T>
bool give(void* value, T field)
{
    *static_cast<T*>(value) = field;
    return true;
}

bool giveText(void* value, const char* text)
{
    std::strcpy(static_cast<char*>(value), text ? text : "");
    return true;
}

bool setLocation(char*& held, const char* text)
{
    const bool fits = text && text[0] == '/' && ::strnlen(text, longestLocation + 1) <= longestLocation;
    return fits && vardo::isStorable(text) && vardo::assignText(held, text);
}

bool setDirs(char*& held, const char* text)
{
    return (!text || vardo::isStorable(text)) && vardo::assignText(held, text);
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
    copyText(extra->actData, sizeof extra->actData, paths::quarantine);
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
    setLocation(fresh.logLocation, conf->text("Log:Location").value_or("").c_str());
    setDirs(fresh.extra->excludeDirs, conf->text("Scan:ExcludeDirs").value_or("").c_str());
    copyText(fresh.extra->extensions, sizeof(qs_lString), conf->text("Scan:Extensions").value_or("").c_str());
    if (auto data = conf->text("Scan:ActionData")) {
        if (data->starts_with('/'))
            data = conf->safePath("Scan:ActionData", paths::quarantine);
        copyText(fresh.extra->actData, sizeof(qs_fString), data->c_str());
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

int ScanConfig::SetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    const auto set = [&] {
        switch (id) {
        case SCANOPT_ACTION:
            return setWithin<unsigned>(action, value, SCANACT_LOG, SCANACT_PROMPT);
        case SCANOPT_LOGLEVEL:
            return setWithin<unsigned>(logLevel, value, LOGLEVEL_MINIMUM, LOGLEVEL_ALL);
        case SCANOPT_LOGLOCATION:
            return setLocation(logLocation, static_cast<const char*>(value));
        case SCANOPT_MEMSCAN:
            return setWithin<unsigned char>(memScan, value, 0, 1);
        case SCANOPT_EXTENSIONS:
            return copyText(extra->extensions, sizeof extra->extensions, static_cast<const char*>(value));
        case SCANOPT_EXCLUDEDIRS:
            return setDirs(extra->excludeDirs, *static_cast<char**>(value));
        case SCANOPT_MAXDEPTH:
            return setWithin<unsigned char>(extra->maxDepth, value, 0, 255);
        case SCANOPT_MAXSIZE:
            return setWithin<unsigned long>(extra->maxSize, value, 0, ~0ul);
        case SCANOPT_ACTDATA:
            return copyText(extra->actData, sizeof extra->actData, static_cast<const char*>(value));
        case SCANOPT_SCANOPTS:
            return (*static_cast<unsigned*>(value) & ~knownBits) == 0 &&
                   give(&scanOpts, *static_cast<unsigned*>(value));
        case SCANOPT_ALERT:
            return setWithin<unsigned char>(Alert, value, 0, 1);
        case SCANOPT_ALERTDAYS:
            return setWithin<unsigned>(AlertDays, value, 1, mostAlertDays);
        default:
            return false;
        }
    };
    return set() ? 0 : -1;
}

int ScanConfig::GetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    const auto get = [&] {
        switch (id) {
        case SCANOPT_ACTION:
            return give(value, action);
        case SCANOPT_LOGLEVEL:
            return give(value, logLevel);
        case SCANOPT_LOGLOCATION:
            return giveText(value, logLocation);
        case SCANOPT_MEMSCAN:
            return give(value, memScan);
        case SCANOPT_EXTENSIONS:
            return giveText(value, extra->extensions);
        case SCANOPT_EXCLUDEDIRS:
            return give(value, extra->excludeDirs);
        case SCANOPT_MAXDEPTH:
            return give(value, extra->maxDepth);
        case SCANOPT_MAXSIZE:
            return give(value, extra->maxSize);
        case SCANOPT_ACTDATA:
            return giveText(value, extra->actData);
        case SCANOPT_SCANOPTS:
            return give(value, scanOpts);
        case SCANOPT_ALERT:
            return give(value, Alert);
        case SCANOPT_ALERTDAYS:
            return give(value, AlertDays);
        default:
            return false;
        }
    };
    return get() ? 0 : -1;
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
