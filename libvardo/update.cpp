#include "engine/update.h"

#include "base/paths.h"
#include "libvardo/conffile.h"
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
constexpr unsigned char defaultRetries = 3;
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

bool setByte(unsigned char& field, const void* value, unsigned char least, unsigned char most)
{
    const unsigned char wanted = *static_cast<const unsigned char*>(value);
    const bool valid = least <= wanted && wanted <= most;
    if (valid)
        field = wanted;
    return valid;
}

bool setPort(unsigned& field, const void* value)
{
    const unsigned wanted = *static_cast<const unsigned*>(value);
    if (wanted <= mostPort)
        field = wanted;
    return wanted <= mostPort;
}

bool setText(char*& field, const void* value)
{
    const char* text = static_cast<const char*>(value);
    return ::strnlen(text, longestText + 1) <= longestText && vardo::isStorable(text) &&
           vardo::assignText(field, text);
}

bool giveText(void* value, const char* text)
{
    char* buffer = static_cast<char*>(value);
    buffer[0] = '\0';
    std::strncat(buffer, text ? text : "", longestText);
    return true;
}

template <class T>
bool give(void* value, T field)
{
    *static_cast<T*>(value) = field;
    return true;
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
    timeOut = takeByte(*conf, "Update:TimeOut", 15, 90, defaultTimeOut);
    noOfRetry = takeByte(*conf, "Update:Retries", 1, 5, defaultRetries);
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

int vUpdate::GetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    const auto get = [&] {
        switch (id) {
        case UPDOPT_USEPROXY:
            return give(value, useProxy);
        case UPDOPT_PROXYSERVER:
            return giveText(value, proxyServer);
        case UPDOPT_PROXYPORT:
            return give(value, proxyPort);
        case UPDOPT_PROXYAUTH:
            return give(value, proxyAuth);
        case UPDOPT_PROXYUSER:
            return giveText(value, proxyUser);
        case UPDOPT_PROXYPASS:
            return giveText(value, proxyPass);
        case UPDOPT_UPDATESERVER:
            return giveText(value, updateServer);
        case UPDOPT_USEHTTPS:
            return give(value, useHttps);
        case UPDOPT_TIMEOUT:
            return give(value, timeOut);
        case UPDOPT_NOOFRETRY:
            return give(value, noOfRetry);
        case UPDOPT_AUTOUPDATE:
            return give(value, autoUpdate);
        case UPDOPT_UPDATEHOUR:
            return give(value, updateHour);
        case UPDOPT_UPDATEMINUTE:
            return give(value, updateMinute);
        default:
            return false;
        }
    };
    return get() ? 0 : -1;
}

int vUpdate::SetOption(unsigned int id, void* value)
{
    if (!value)
        return -1;
    const auto set = [&] {
        switch (id) {
        case UPDOPT_USEPROXY:
            return setByte(useProxy, value, 0, 1);
        case UPDOPT_PROXYSERVER:
            return setText(proxyServer, value);
        case UPDOPT_PROXYPORT:
            return setPort(proxyPort, value);
        case UPDOPT_PROXYAUTH:
            return setByte(proxyAuth, value, 0, 1);
        case UPDOPT_PROXYUSER:
            return setText(proxyUser, value);
        case UPDOPT_PROXYPASS:
            return setText(proxyPass, value);
        case UPDOPT_USEHTTPS:
            return setByte(useHttps, value, 0, 1);
        case UPDOPT_TIMEOUT:
            return setByte(timeOut, value, 15, 90);
        case UPDOPT_NOOFRETRY:
            return setByte(noOfRetry, value, 1, 5);
        case UPDOPT_AUTOUPDATE:
            return setByte(autoUpdate, value, 0, 1);
        case UPDOPT_UPDATEHOUR:
            return setByte(updateHour, value, 0, 23);
        case UPDOPT_UPDATEMINUTE:
            return setByte(updateMinute, value, 0, 59);
        default:
            return false;
        }
    };
    return set() ? 0 : -1;
}
