#include "fetcher/fetch.h"

#include "base/databasename.h"
#include "base/uniquefd.h"
#include "engine/update.h"
#include "fetcher/say.h"
#include "fetcher/transfers.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <clamav.h>
extern "C" {
#include <libfreshclam.h> // does not say itself that it is C
}

namespace fetcher {

namespace {

constexpr unsigned secondsBetweenAttempts = 2;
constexpr char temporary[] = "/proc/self/fd/3"; // the library changes the working directory now and then

/// How a database, or an attempt at it, ended.
struct End
{
    bool good = false;
    std::string reason; ///< for a person, when not good
    bool transient = false;
    long long wait = 0;
};

End failed(std::string reason)
{
    return {false, std::move(reason)};
}

/// The newest version of a database that lies here; 0 when there is none.
unsigned versionHere(const std::string& name)
{
    unsigned newest = 0;
    for (const std::string_view ending : base::databaseEndings) {
        const base::UniqueFd file(
            ::open((name + std::string(ending)).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
        if (file)
            newest = std::max(newest, base::databaseVersion(file.get()).value_or(0));
    }
    return newest;
}

void removeHere(const std::string& name)
{
    for (const std::string_view ending : base::databaseEndings)
        ::unlink((name + std::string(ending)).c_str());
}

/// What the name service says of a database, among all it says: fields between colons.
std::optional<unsigned> toldVersion(const std::string& name, const char* told)
{
    struct Field
    {
        const char* name;
        std::size_t place;
    };
    constexpr std::array<Field, 3> fields{{{"main", 1}, {"daily", 2}, {"bytecode", 7}}};
    std::istringstream text(told ? told : "");
    std::vector<std::string> values;
    for (std::string value; std::getline(text, value, ':');)
        values.push_back(value);
    for (const Field& field : fields) {
        if (name == field.name && values.size() > field.place)
            return static_cast<unsigned>(std::strtoul(values[field.place].c_str(), nullptr, 10));
    }
    return {};
}

/// True when the name service tells of a version that the server does not give yet, and `now` is what it has.
bool isAhead(unsigned now)
{
    const Transfers& t = transfers();
    const bool lacksNewest = t.failure.missing && now + 1 == t.remote;
    return t.byName && now > 0 && now >= t.local && ((t.whole && t.failure.text.empty()) || lacksNewest);
}

End judge(fc_error_t code)
{
    const Transfers& t = transfers();
    const unsigned now = versionHere(t.name);
    const std::string version = std::to_string(t.remote.value_or(now));
    if (t.remote && *t.remote < t.local && !t.byName)
        return failed(t.name + ": the server has version " + version + ", older than the installed version " +
                      std::to_string(t.local));
    if (t.remote && now >= *t.remote && (now > t.local || t.failure.text.empty()))
        return {true, {}};
    if (isAhead(now)) {
        sayDetail(t.name + ": the server does not have version " + version + " yet");
        return {true, {}};
    }
    if (!t.failure.text.empty())
        return {false, t.failure.text, t.failure.transient, t.failure.wait};
    if (code != FC_SUCCESS && code != FC_UPTODATE)
        return failed(t.name + ": " + fc_strerror(code));
    if (!t.remote)
        return failed(t.name + ": the server was not asked");
    return failed(t.name + ": the server tells of version " + version + " and gives version " +
                  std::to_string(now));
}

End attempt(const update::FetchOrder& order, const std::string& name, unsigned local, const char* told)
{
    transfers() = transfers().again();
    transfers().order = &order;
    transfers().name = name;
    transfers().local = local;
    if (const auto version = toldVersion(name, told)) {
        transfers().initialised(*version);
        transfers().byName = true;
    }
    char* names[] = {const_cast<char*>(name.c_str())};
    char* servers[] = {const_cast<char*>(order.server.c_str())};
    uint32_t updated = 0;
    // A private mirror is none to the library: it would ask that for the file with differences put in.
    const fc_error_t code = fc_update_databases(names, 1, servers, 1, 0, told, 1, nullptr, &updated);
    return judge(code);
}

/// Differences may be missing on the server: then all of the database is fetched.
End attemptWhole(const update::FetchOrder& order, const std::string& name, unsigned local, const char* told)
{
    End end = attempt(order, name, local, told);
    const Transfers& t = transfers();
    const bool stale = local > 0 && t.remote && *t.remote > local;
    if (end.good || end.transient || t.failure.refused || t.whole || !stale)
        return end;
    sayDetail(name + ": the differences do not lead to version " + std::to_string(*t.remote) +
              ", so all of it is fetched");
    removeHere(name);
    return attempt(order, name, local, told);
}

End fetchOne(const update::FetchOrder& order, const std::string& name, const char* told)
{
    say(UPDATE_STARTED, 0, 0, order.server);
    transfers() = {};
    const unsigned local = versionHere(name);
    End end = attemptWhole(order, name, local, told);
    for (unsigned tried = 1; !end.good && end.transient && tried < order.attempts; ++tried) {
        sayDetail(end.reason + "; trying again");
        ::sleep(secondsBetweenAttempts);
        end = attemptWhole(order, name, local, told);
    }
    if (!end.good)
        return end;
    transfers().finished();
    const unsigned now = versionHere(name);
    sayDetail(now == local ? name + " is up to date (version " + std::to_string(now) + ")"
                           : name + ": version " + std::to_string(now) + " downloaded");
    say(update::MessageDatabase, local, now, name);
    return end;
}

bool initialise(const update::FetchOrder& order)
{
    fc_config config = {};
    config.maxAttempts = 1;
    config.connectTimeout = order.timeOut;
    config.databaseDirectory = ".";
    config.tempDirectory = temporary;
    return cl_init(CL_INIT_DEFAULT) == CL_SUCCESS && fc_initialize(&config) == FC_SUCCESS && interposed();
}

End fetchAll(const update::FetchOrder& order)
{
    if (!initialise(order))
        return failed("The library for updates does not start.");
    char* told = nullptr;
    char* library = nullptr;
    if (order.askNameService)
        fc_dns_query_update_info("current.cvd.clamav.net", &told, &library);
    std::istringstream names(order.databases);
    for (std::string name; names >> name;) {
        if (End end = fetchOne(order, name, told); !end.good)
            return end;
    }
    return {true, {}};
}

} // namespace

void fetch(const update::FetchOrder& order)
{
    const End end = fetchAll(order);
    say(update::MessageResult, end.good ? UPDATE_DONE : UPDATE_ERROR, end.wait, end.reason);
}

} // namespace fetcher
