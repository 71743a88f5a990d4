#include "engine/update.h"
#include "libvardo/updateprocess.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds betweenLooks{50};
constexpr milliseconds stopPatience{300};
constexpr int callbackStop = 2;

/// How often a stop was asked for. A counter and nothing else, so that a signal handler may ask, too.
std::atomic<unsigned> stops = 0;

/// One run, as its caller sees it.
struct Running
{
    AVUpdateCallBack callback;
    AVUpdateContextData context;
    unsigned stopsBefore;
    bool refused = false; ///< the callback wants to stop

    bool stopped() const { return refused || stops.load() != stopsBefore; }

    void call(const update::Message& message)
    {
        if (callback && callback(message.code, message.text.c_str(), message.first, message.second,
                                 context) == callbackStop)
            refused = true;
    }

    int fail(const std::string& why)
    {
        call({UPDATE_DETAIL, 0, 0, why});
        call({UPDATE_FAILED, 0, 0, why});
        return UPDATE_ERROR;
    }
};

bool isForCallers(int code)
{
    constexpr std::array codes{UPDATE_STARTED,  UPDATE_INITIALISED, UPDATE_DETAIL,
                               UPDATE_PROGRESS, UPDATE_INSTALLING,  UPDATE_FAILED};
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

bool isResult(long long code)
{
    constexpr std::array codes{UPDATE_DONE, UPDATE_RUNNING, UPDATE_STOPPED, UPDATE_ERROR, UPDATE_NO_LOCK};
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

int follow(vardo::UpdateProcess& process, Running& run)
{
    for (;;) {
        if (run.stopped()) {
            process.stop(stopPatience);
            return UPDATE_STOPPED;
        }
        const auto message = process.next(betweenLooks);
        if (message && message->code == update::MessageResult && isResult(message->first))
            return static_cast<int>(message->first);
        if (message && isForCallers(message->code))
            run.call(*message);
        if (!message && process.ended())
            return run.fail("The update program ended unexpectedly.");
    }
}

void addWish(std::string& wishes, const char* key, const std::string& value)
{
    if (value.find('\n') == std::string::npos)
        wishes += std::string(key) + "=" + value + "\n";
}

std::string flag(bool value)
{
    return value ? "yes" : "no";
}

std::string textOf(const char* text)
{
    return text ? text : "";
}

} // namespace

int vUpdate::DoUpdate(AVUpdateCallBack callback, AVUpdateContextData context, const char*)
{
    Running run{callback, context, stops.load()};
    std::string wishes;
    addWish(wishes, "Update:Server", textOf(updateServer));
    addWish(wishes, "Update:UseHttps", flag(useHttps));
    addWish(wishes, "Update:TimeOut", std::to_string(timeOut));
    addWish(wishes, "Update:Retries", std::to_string(noOfRetry));
    addWish(wishes, "Proxy:UseProxy", flag(useProxy));
    addWish(wishes, "Proxy:Server", textOf(proxyServer));
    addWish(wishes, "Proxy:Port", std::to_string(proxyPort));
    addWish(wishes, "Proxy:Authentication", flag(proxyAuth));
    addWish(wishes, "Proxy:User", textOf(proxyUser));
    addWish(wishes, "Proxy:Password", textOf(proxyPass));
    vardo::UpdateProcess process(qsavFile, uconfFile, wishes);
    if (!process.failure().empty())
        return run.fail(process.failure());
    updateRunning = 1;
    const int result = follow(process, run);
    updateRunning = 0;
    return result;
}

void signal_update_term(int)
{
    ++stops;
}
