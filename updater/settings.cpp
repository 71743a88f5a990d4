#include "updater/settings.h"

#include "base/databasename.h"
#include "base/paths.h"
#include "libvardo/conffile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>

namespace updater {

namespace {

using vardo::ConfFile;

constexpr char publicServer[] = "database.clamav.net";
constexpr char publicDomain[] = ".clamav.net";
constexpr char usualDatabases[] = "main daily bytecode";
constexpr char usualAuthorities[] = "/etc/ssl/certs/ca-certificates.crt";
constexpr std::uint64_t megabyte = 1 << 20;
constexpr std::size_t mostDatabases = 32;
constexpr std::size_t longestValue = 200;

bool isOf(std::string_view text, std::string_view others)
{
    return std::all_of(text.begin(), text.end(), [others](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               others.find(c) != std::string_view::npos;
    });
}

bool isHost(std::string_view host)
{
    if (host.starts_with('[') && host.ends_with(']'))
        return host.size() > 4 && isOf(host.substr(1, host.size() - 2), ":.");
    return !host.empty() && host.size() <= longestValue && isOf(host.substr(0, 1), "") && isOf(host, ".-");
}

bool isPort(std::string_view text)
{
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
}

/// A server as it stands in the settings.
struct Address
{
    std::string scheme; ///< empty: not told
    std::string host;
    std::string port; ///< with its colon, or empty
    std::string path; ///< with its slash, or empty
};

std::optional<Address> parseAddress(std::string_view text)
{
    Address address;
    for (const std::string_view scheme : {"http", "https"}) {
        if (text.starts_with(std::string(scheme) + "://"))
            address.scheme = scheme;
    }
    text.remove_prefix(address.scheme.empty() ? 0 : address.scheme.size() + 3);
    const std::size_t slash = std::min(text.find('/'), text.size());
    address.path = text.substr(slash);
    while (address.path.ends_with('/'))
        address.path.pop_back();
    text = text.substr(0, slash);
    const std::size_t colon = text.ends_with(']') ? std::string_view::npos : text.rfind(':');
    address.host = text.substr(0, colon);
    const bool hasPort = colon != std::string_view::npos;
    address.port = hasPort ? text.substr(colon) : std::string_view();
    const bool valid = isHost(address.host) && (!hasPort || isPort(text.substr(colon + 1))) &&
                       isOf(address.path, "/._~-") && address.path.size() <= longestValue &&
                       address.path.find("..") == std::string::npos;
    return valid ? std::optional(address) : std::nullopt;
}

base::Error invalid(const char* key, const char* why)
{
    return {EINVAL, std::string("updates.conf: ") + key + " " + why};
}

std::optional<base::Error> takeServer(const ConfFile& conf, update::FetchOrder& order)
{
    const std::string text = conf.text("Update:Server").value_or(publicServer);
    const auto address = parseAddress(text);
    if (!address)
        return invalid("Server", "is no host, host:port or http(s)://host:port");
    order.onlyHttps = conf.flag("Update:UseHttps", false);
    if (order.onlyHttps && address->scheme == "http")
        return invalid("Server", "says http, and UseHttps says yes");
    const std::string scheme =
        address->scheme.empty() ? (order.onlyHttps ? "https" : "http") : address->scheme;
    order.server = scheme + "://" + address->host + address->port + address->path;
    order.askNameService = address->host == publicServer || address->host.ends_with(publicDomain);
    return {};
}

std::optional<base::Error> takeProxy(const ConfFile& conf, update::FetchOrder& order)
{
    if (!conf.flag("Proxy:UseProxy", false))
        return {};
    const std::string host = conf.text("Proxy:Server").value_or("");
    const unsigned long port = conf.number("Proxy:Port", 0, 65535, 0);
    if (!isHost(host))
        return invalid("the proxy's Server", "is no address");
    if (port == 0)
        return invalid("the proxy's Port", "is missing");
    order.proxy = "http://" + host + ":" + std::to_string(port);
    if (!conf.flag("Proxy:Authentication", false))
        return {};
    order.proxyUser = conf.text("Proxy:User").value_or("");
    order.proxyPassword = conf.text("Proxy:Password").value_or("");
    if (order.proxyUser.empty())
        return invalid("the proxy's User", "is missing");
    if (!vardo::isStorable(order.proxyUser) || !vardo::isStorable(order.proxyPassword))
        return invalid("the proxy's login", "has control characters");
    return {};
}

std::optional<base::Error> takeDatabases(const ConfFile& conf, std::vector<std::string>& databases)
{
    std::string text = conf.text("Update:Databases").value_or(usualDatabases);
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream names(text);
    for (std::string name; names >> name;) {
        if (!base::isDatabaseName(name))
            return invalid("Databases", "has a name that is none");
        if (std::find(databases.begin(), databases.end(), name) == databases.end())
            databases.push_back(name);
    }
    if (databases.empty() || databases.size() > mostDatabases)
        return invalid("Databases", "has no names, or too many");
    return {};
}

} // namespace

base::Result<Settings> readSettings(const std::string& qsavConf, const std::string& updatesConf,
                                    const Wishes& wishes)
{
    const auto places = ConfFile::readOrNew(qsavConf);
    auto conf = ConfFile::read(updatesConf);
    if (!places || !conf)
        return base::Error{EIO, (places ? updatesConf : qsavConf) + " cannot be read"};
    for (const auto& [key, value] : wishes)
        conf->set(key, value);
    Settings settings;
    settings.signatures = places->safePath("path:SignaturePath", paths::signatures, &settings.refused);
    settings.temporary = places->safePath("path:UpdateTempPath", paths::updateTemp, &settings.refused);
    settings.backup = places->safePath("path:UpdateBackupPath", paths::updateBackup, &settings.refused);
    settings.limit = std::chrono::minutes(conf->number("Update:MaxMinutes", 1, 1440, 120));
    update::FetchOrder& order = settings.order;
    order.timeOut = static_cast<unsigned>(conf->number("Update:TimeOut", 15, 90, 30));
    order.attempts = static_cast<unsigned>(conf->number("Update:Retries", 1, 5, 3));
    order.mostBytes = conf->number("Update:MaxFileMB", 1, 4000, 1000) * megabyte;
    order.authorities = conf->safePath("Update:Certificates", usualAuthorities, &settings.refused);
    for (const auto& problem :
         {takeServer(*conf, order), takeProxy(*conf, order), takeDatabases(*conf, settings.databases)}) {
        if (problem)
            return *problem;
    }
    return settings;
}

} // namespace updater
