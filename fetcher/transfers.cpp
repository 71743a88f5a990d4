#include "fetcher/transfers.h"

#include "base/databasename.h"
#include "fetcher/say.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>
#include <string_view>

#include <dlfcn.h>
#include <sys/statvfs.h>

#undef curl_easy_setopt // the macro of curl.h: we define the function

namespace fetcher {

namespace {

using Clock = std::chrono::steady_clock;
using SetOption = CURLcode (*)(CURL*, CURLoption, ...);
using Perform = CURLcode (*)(CURL*);
using Write = std::size_t (*)(char*, std::size_t, std::size_t, void*);

constexpr auto betweenReports = std::chrono::milliseconds(50);
constexpr std::size_t headLength = 512;
constexpr long mostRedirects = 5;
constexpr long slowest = 512; ///< bytes a second

/// One request of the library, as far as it must be known before and while it runs.
struct Request
{
    CURL* easy = nullptr;
    std::string url;
    bool ranged = false;
    Write write = nullptr;
    void* target = nullptr;

    bool isHead = false; ///< the head of a database, not all of it
    std::string head;
    bool tooLarge = false;
    bool diskFull = false;
};

std::map<CURL*, Request> requests;
Clock::time_point lastReport;

template <class Function>
Function realFunction(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

template <class Value>
void setOption(CURL* easy, CURLoption option, Value value)
{
    static const auto real = realFunction<SetOption>("curl_easy_setopt");
    real(easy, option, value);
}

std::string fileOf(std::string_view url)
{
    return std::string(url.substr(url.rfind('/') + 1));
}

std::string number(long long value)
{
    return std::to_string(value);
}

/// Keeps how the request ended.
void noteEnd(const Request& request, CURLcode code)
{
    Answer answer{code, 0, 0, request.tooLarge, request.diskFull};
    curl_off_t wait = 0;
    curl_easy_getinfo(request.easy, CURLINFO_RESPONSE_CODE, &answer.status);
    if (answer.status == 0) // a proxy may refuse before the server is reached
        curl_easy_getinfo(request.easy, CURLINFO_HTTP_CONNECTCODE, &answer.status);
    curl_easy_getinfo(request.easy, CURLINFO_RETRY_AFTER, &wait);
    answer.retryAfter = wait;
    Failure& failure = transfers().failure;
    failure = failureOf(answer);
    if (!failure.text.empty())
        failure.text = fileOf(request.url) + ": " + failure.text;
}

bool isContent(CURL* easy)
{
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return status == 200 || status == 206;
}

std::size_t writeOn(Request& request, char* data, std::size_t size)
{
    const std::size_t written = request.write
                                    ? request.write(data, 1, size, request.target)
                                    : std::fwrite(data, 1, size, static_cast<std::FILE*>(request.target));
    struct statvfs room = {};
    request.diskFull = written != size && ::fstatvfs(temporaryFolder, &room) == 0 &&
                       room.f_bavail * room.f_frsize < static_cast<unsigned long>(size);
    return written;
}

/// Passes on what came; of a head no more than there is in one, as some servers send all.
std::size_t onData(char* data, std::size_t, std::size_t size, void* context)
{
    auto& request = *static_cast<Request*>(context);
    if (!request.isHead || !isContent(request.easy))
        return writeOn(request, data, size);
    const std::size_t wanted = std::min(size, headLength - request.head.size());
    request.head.append(data, wanted);
    const bool taken = wanted == 0 || writeOn(request, data, wanted) == wanted;
    return taken && wanted == size ? size : CURL_WRITEFUNC_ERROR;
}

int onProgress(void* context, curl_off_t size, curl_off_t now, curl_off_t, curl_off_t)
{
    auto& request = *static_cast<Request*>(context);
    Transfers& t = transfers();
    request.tooLarge = static_cast<std::uint64_t>(now) > t.order->mostBytes;
    if (request.tooLarge || request.isHead || now == 0 || !isContent(request.easy))
        return request.tooLarge;
    if (!t.counted)
        t.total = size > 0 ? t.earlier + size : 0;
    const bool due = Clock::now() - lastReport >= betweenReports;
    if (due && t.earlier + now > t.shown && t.earlier + now < t.total) {
        lastReport = Clock::now();
        t.shown = t.earlier + now;
        say(UPDATE_PROGRESS, t.total, t.earlier + now, "");
    }
    return 0;
}

void setLimits(CURL* easy)
{
    const update::FetchOrder& order = *transfers().order;
    setOption(easy, CURLOPT_PROTOCOLS_STR, order.onlyHttps ? "https" : "http,https");
    setOption(easy, CURLOPT_REDIR_PROTOCOLS_STR, order.onlyHttps ? "https" : "http,https");
    setOption(easy, CURLOPT_MAXREDIRS, mostRedirects);
    setOption(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(order.timeOut));
    setOption(easy, CURLOPT_LOW_SPEED_LIMIT, slowest);
    setOption(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(order.timeOut));
    setOption(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(order.mostBytes));
    setOption(easy, CURLOPT_NOSIGNAL, 1L);
}

/// The network library decodes what logs in to a proxy.
std::string escaped(CURL* easy, const std::string& text)
{
    const std::unique_ptr<char, decltype(&curl_free)> result(
        curl_easy_escape(easy, text.data(), static_cast<int>(text.size())), curl_free);
    return result ? result.get() : std::string();
}

void setConnection(CURL* easy)
{
    const update::FetchOrder& order = *transfers().order;
    setOption(easy, CURLOPT_CAINFO, order.authorities.c_str());
    setOption(easy, CURLOPT_CAPATH, static_cast<char*>(nullptr));
    setOption(easy, CURLOPT_HTTPPROXYTUNNEL, 0L);
    setOption(easy, CURLOPT_PROXY, order.proxy.c_str());
    setOption(easy, CURLOPT_NOPROXY, "");
    if (!order.proxyUser.empty()) {
        // With each new connection for one request it decodes again, and finding out the kind takes two.
        const bool onceOnly = (order.proxyUser + order.proxyPassword).find('%') != std::string::npos;
        setOption(easy, CURLOPT_PROXYAUTH, static_cast<long>(onceOnly ? CURLAUTH_BASIC : CURLAUTH_ANY));
        setOption(easy, CURLOPT_PROXYUSERNAME, escaped(easy, order.proxyUser).c_str());
        setOption(easy, CURLOPT_PROXYPASSWORD, escaped(easy, order.proxyPassword).c_str());
    }
}

void watch(Request& request)
{
    setOption(request.easy, CURLOPT_WRITEFUNCTION, onData);
    setOption(request.easy, CURLOPT_WRITEDATA, static_cast<void*>(&request));
    setOption(request.easy, CURLOPT_XFERINFOFUNCTION, onProgress);
    setOption(request.easy, CURLOPT_XFERINFODATA, static_cast<void*>(&request));
    setOption(request.easy, CURLOPT_NOPROGRESS, 0L);
}

CURLcode performReally(CURL* easy)
{
    static const auto real = realFunction<Perform>("curl_easy_perform");
    return real(easy);
}

/// The size of `url`, asked for with the settings of `like`; -1 when the server does not tell.
curl_off_t sizeOf(const std::string& url, CURL* like)
{
    CURL* easy = curl_easy_duphandle(like);
    if (!easy)
        return -1;
    curl_off_t size = -1;
    setOption(easy, CURLOPT_URL, url.c_str());
    setOption(easy, CURLOPT_NOBODY, 1L);
    if (performReally(easy) != CURLE_OK || !isContent(easy) ||
        curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size) != CURLE_OK)
        size = -1;
    curl_easy_cleanup(easy);
    return size;
}

/// Before the first difference: how much all of them are.
void countDifferences(const Request& request)
{
    Transfers& t = transfers();
    const std::string stem = "/" + t.name + "-";
    const std::size_t place = request.url.rfind(stem);
    if (t.counted || place == std::string::npos || !request.url.ends_with(".cdiff") || !t.remote)
        return;
    unsigned version = 0;
    const char* digits = request.url.data() + place + stem.size();
    std::from_chars(digits, request.url.data() + request.url.size(), version);
    curl_off_t all = 0;
    for (; all >= 0 && version <= *t.remote; ++version) {
        const auto size =
            sizeOf(request.url.substr(0, place) + stem + number(version) + ".cdiff", request.easy);
        all = size < 0 ? -1 : all + size;
    }
    t.counted = true;
    t.total = all > 0 ? t.earlier + all : 0;
}

CURLcode perform(Request& request)
{
    Transfers& t = transfers();
    if (t.failure.refused)
        return CURLE_ABORTED_BY_CALLBACK;
    request.isHead = request.ranged && request.url.ends_with(".cvd");
    setLimits(request.easy);
    setConnection(request.easy);
    watch(request);
    countDifferences(request);
    t.counted = t.counted && request.url.ends_with(".cdiff");
    CURLcode code = performReally(request.easy);
    if (request.isHead && request.head.size() == headLength)
        code = CURLE_OK;
    noteEnd(request, code);
    curl_off_t size = 0;
    curl_easy_getinfo(request.easy, CURLINFO_SIZE_DOWNLOAD_T, &size);
    if (t.failure.text.empty() && !request.isHead)
        t.earlier += size;
    t.whole = t.whole || (t.failure.text.empty() && !request.isHead && request.url.ends_with(".cvd"));
    if (const auto version = base::databaseVersion(request.head); request.isHead && version) {
        t.initialised(*version);
        t.byName = false;
    }
    return code;
}

void noteOption(Request& request, CURLoption option, void* value)
{
    switch (option) {
    case CURLOPT_URL:
        request.url = value ? static_cast<const char*>(value) : "";
        break;
    case CURLOPT_RANGE:
        request.ranged = value != nullptr;
        break;
    case CURLOPT_WRITEFUNCTION:
        request.write = reinterpret_cast<Write>(value);
        break;
    case CURLOPT_WRITEDATA:
        request.target = value;
        break;
    default:
        break;
    }
}

} // namespace

Transfers& transfers()
{
    static Transfers current;
    return current;
}

Transfers Transfers::again() const
{
    Transfers next;
    next.earlier = earlier;
    next.shown = shown;
    next.begun = begun;
    return next;
}

void Transfers::initialised(unsigned version)
{
    remote = version;
    if (begun)
        return;
    begun = true;
    say(UPDATE_INITIALISED, 0, 0, order->server);
    if (version > local)
        sayDetail(name + ": the server has version " + std::to_string(version) +
                  (local ? ", here is version " + std::to_string(local) : ", here is none"));
}

void Transfers::finished() const
{
    const long long all = std::max(earlier, shown);
    if (all > 0)
        say(UPDATE_PROGRESS, all, all, "");
}

bool interposed()
{
    return ::dlsym(RTLD_DEFAULT, "curl_easy_perform") == reinterpret_cast<void*>(&curl_easy_perform) &&
           realFunction<void*>("curl_easy_perform") && realFunction<void*>("curl_easy_setopt");
}

} // namespace fetcher

// In the places of the network library's own.

extern "C" __attribute__((visibility("default"))) CURLcode curl_easy_setopt(CURL* easy, CURLoption option,
                                                                            ...)
{
    va_list arguments;
    va_start(arguments, option);
    void* value = va_arg(arguments, void*); // every kind of value comes in a register of this size
    va_end(arguments);
    fetcher::Request& request = fetcher::requests[easy];
    request.easy = easy;
    fetcher::noteOption(request, option, value);
    static const auto real = fetcher::realFunction<fetcher::SetOption>("curl_easy_setopt");
    return real(easy, option, value);
}

extern "C" __attribute__((visibility("default"))) CURLcode curl_easy_perform(CURL* easy)
{
    const auto place = fetcher::requests.find(easy);
    if (place == fetcher::requests.end())
        return CURLE_FAILED_INIT;
    fetcher::Request request = std::move(place->second);
    fetcher::requests.erase(place);
    return fetcher::perform(request);
}
