#include "engine/update.h"

#include "base/paths.h"
#include "libvardo/conffile.h"
#include "libvardo/options.h"
#include "libvardo/ownedtext.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

namespace {

using vardo::ConfFile;

constexpr std::size_t longestText = 2047;
constexpr unsigned mostPort = 65535;
constexpr char defaultServer[] = "database.clamav.net";
constexpr unsigned char defaultTimeOut = 30;
constexpr unsigned char leastTimeOut = 15;
constexpr unsigned char mostTimeOut = 90;
constexpr unsigned char defaultRetries = 3;
constexpr unsigned char leastRetries = 1;
constexpr unsigned char mostRetries = 5;
constexpr unsigned char defaultHour = 9;
constexpr unsigned char defaultMinute = 30;

/// A copy of a file's name that lasts as long as the process: vUpdateConf has no destructor to free it.
char* kept(const char* name)
{
    static std::mutex mutex;
    static std::set<std::string> names;
    if (!name)
        return nullptr;
    const std::lock_guard lock(mutex);
    return const_cast<char*>(names.emplace(name).first->c_str());
}

bool takeText(char*& field, const ConfFile& conf, const char* key, const char* fallback)
{
    return vardo::assignText(field, conf.text(key).value_or(fallback).c_str());
}

unsigned char takeByte(const ConfFile& conf, const char* key, unsigned char least, unsigned char most,
                       unsigned char fallback)
{
    return static_cast<unsigned char>(conf.number(key, least, most, fallback));
}

} // namespace

int vUpdateConf::UpdateConf = 0;
int vUpdateConf::PathConf = 1;

vUpdateConf::vUpdateConf(const char* qsavConf, const char* updateConf)
    : qsavFile(kept(qsavConf))
    , uconfFile(kept(updateConf))
    , basePath(vardo::ownedText(paths::installation))
    , tmpPath(vardo::ownedText(paths::updateTemp))
    , backPath(vardo::ownedText(paths::updateBackup))
    , useProxy(0)
    , proxyAuth(0)
    , proxyServer(vardo::ownedText(""))
    , proxyPort(0)
    , proxyUser(vardo::ownedText(""))
    , proxyPass(vardo::ownedText(""))
    , useHttps(0)
    , timeOut(defaultTimeOut)
    , noOfRetry(defaultRetries)
    , updateServer(vardo::ownedText(defaultServer))
    , autoUpdate(1)
    , updateHour(defaultHour)
    , updateMinute(defaultMinute)
{
}

int vUpdateConf::ReadConfiguration(int part, const char* file)
{
    if (part == PathConf)
        return ReadPathConfiguration(file ? file : qsavFile);
    return part == UpdateConf ? ReadUpdateConfiguration(file ? file : uconfFile) : -1;
}

int vUpdateConf::ReadPathConfiguration(const char* file)
{
    const auto conf = file ? ConfFile::read(file) : std::nullopt;
    if (!conf)
        return -1;
    const bool taken =
        vardo::assignText(basePath, conf->path("path:BasePath", paths::installation).c_str()) &&
        vardo::assignText(tmpPath, conf->path("path:UpdateTempPath", paths::updateTemp).c_str()) &&
        vardo::assignText(backPath, conf->path("path:UpdateBackupPath", paths::updateBackup).c_str());
    return taken ? 0 : -1;
}

int vUpdateConf::ReadUpdateConfiguration(const char* file)
{
    const auto conf = file ? ConfFile::read(file) : std::nullopt;
    if (!conf)
        return -1;
    useProxy = conf->flag("Proxy:UseProxy", false);
    proxyAuth = conf->flag("Proxy:Authentication", false);
    proxyPort = static_cast<unsigned>(conf->number("Proxy:Port", 0, mostPort, 0));
    useHttps = conf->flag("Update:UseHttps", false);
    timeOut = takeByte(*conf, "Update:TimeOut", leastTimeOut, mostTimeOut, defaultTimeOut);
    noOfRetry = takeByte(*conf, "Update:Retries", leastRetries, mostRetries, defaultRetries);
    autoUpdate = conf->flag("Update:Automatic", true);
    updateHour = takeByte(*conf, "Update:Hour", 0, 23, defaultHour);
    updateMinute = takeByte(*conf, "Update:Minute", 0, 59, defaultMinute);
    const bool taken = takeText(updateServer, *conf, "Update:Server", defaultServer) &&
                       takeText(proxyServer, *conf, "Proxy:Server", "") &&
                       takeText(proxyUser, *conf, "Proxy:User", "") &&
                       takeText(proxyPass, *conf, "Proxy:Password", "");
    return taken ? 0 : -1;
}

int vUpdateConf::SaveConfiguration(const char* file)
{
    const char* path = file ? file : uconfFile;
    auto conf = path ? ConfFile::readOrNew(path) : std::nullopt;
    if (!conf)
        return -1;
    conf->set("Update:Server", updateServer);
    conf->setFlag("Update:UseHttps", useHttps);
    conf->set("Update:TimeOut", std::to_string(timeOut));
    conf->set("Update:Retries", std::to_string(noOfRetry));
    conf->setFlag("Update:Automatic", autoUpdate);
    conf->set("Update:Hour", std::to_string(updateHour));
    conf->set("Update:Minute", std::to_string(updateMinute));
    conf->setFlag("Proxy:UseProxy", useProxy);
    conf->set("Proxy:Server", proxyServer);
    conf->set("Proxy:Port", std::to_string(proxyPort));
    conf->setFlag("Proxy:Authentication", proxyAuth);
    conf->set("Proxy:User", proxyUser);
    conf->set("Proxy:Password", proxyPass);
    return conf->save(path) ? 0 : -1;
}

vUpdate::vUpdate(const char* qsavConf, const char* updateConf)
    : vUpdateConf(qsavConf, updateConf)
    , updateRunning(0)
    , updater(nullptr)
{
}

vUpdate::~vUpdate()
{
    for (char* text : {basePath, tmpPath, backPath, proxyServer, proxyUser, proxyPass, updateServer})
        std::free(text);
}

std::vector<vardo::Option> EngineOptions::of(vUpdateConf& config)
{
    using namespace vardo;
    return {
        {UPDOPT_USEPROXY, Number<unsigned char>{&config.useProxy, 0, 1}},
        {UPDOPT_PROXYSERVER, HeapText{&config.proxyServer, longestText}},
        {UPDOPT_PROXYPORT, Number<unsigned>{&config.proxyPort, 0, mostPort}},
        {UPDOPT_PROXYAUTH, Number<unsigned char>{&config.proxyAuth, 0, 1}},
        {UPDOPT_PROXYUSER, HeapText{&config.proxyUser, longestText}},
        {UPDOPT_PROXYPASS, HeapText{&config.proxyPass, longestText}},
        {UPDOPT_UPDATESERVER, HeapText{&config.updateServer, longestText, HeapText::Kind::GivenOnly}},
        {UPDOPT_USEHTTPS, Number<unsigned char>{&config.useHttps, 0, 1}},
        {UPDOPT_TIMEOUT, Number<unsigned char>{&config.timeOut, leastTimeOut, mostTimeOut}},
        {UPDOPT_NOOFRETRY, Number<unsigned char>{&config.noOfRetry, leastRetries, mostRetries}},
        {UPDOPT_AUTOUPDATE, Number<unsigned char>{&config.autoUpdate, 0, 1}},
        {UPDOPT_UPDATEHOUR, Number<unsigned char>{&config.updateHour, 0, 23}},
        {UPDOPT_UPDATEMINUTE, Number<unsigned char>{&config.updateMinute, 0, 59}},
    };
}

int vUpdate::GetOption(unsigned int id, void* value)
{
    return vardo::giveOption(EngineOptions::of(*this), id, value);
}

int vUpdate::SetOption(unsigned int id, void* value)
{
    return vardo::takeOption(EngineOptions::of(*this), id, value);
}
