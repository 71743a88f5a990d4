#include "tests/support/scriptedboundary.h"

using scripted::call;
using scripted::shown;

namespace {

constexpr std::size_t textSize = 2048;

int transferOption(scripted::UpdateOptions& options, unsigned int id,
                   const scripted::OptionTransfer& transfer)
{
    switch (id) {
    case UPDOPT_USEPROXY:
        return transfer.number(options.useProxy);
    case UPDOPT_PROXYSERVER:
        return transfer.text(options.proxyServer, textSize);
    case UPDOPT_PROXYPORT:
        return transfer.number(options.proxyPort);
    case UPDOPT_PROXYAUTH:
        return transfer.number(options.proxyAuth);
    case UPDOPT_PROXYUSER:
        return transfer.text(options.proxyUser, textSize);
    case UPDOPT_PROXYPASS:
        return transfer.text(options.proxyPass, textSize);
    case UPDOPT_UPDATESERVER:
        return transfer.text(options.updateServer, textSize);
    case UPDOPT_USEHTTPS:
        return transfer.number(options.useHttps);
    case UPDOPT_TIMEOUT:
        return transfer.number(options.timeOut);
    case UPDOPT_NOOFRETRY:
        return transfer.number(options.noOfRetry);
    case UPDOPT_AUTOUPDATE:
        return transfer.number(options.autoUpdate);
    case UPDOPT_UPDATEHOUR:
        return transfer.number(options.updateHour);
    case UPDOPT_UPDATEMINUTE:
        return transfer.number(options.updateMinute);
    default:
        return -1;
    }
}

} // namespace

int vUpdateConf::UpdateConf = 41;
int vUpdateConf::PathConf = 42;

vUpdateConf::vUpdateConf(const char*, const char*)
{
}

int vUpdateConf::ReadConfiguration(int part, const char* file)
{
    const int result =
        call("vUpdate::ReadConfiguration", part == UpdateConf ? "UpdateConf" : "PathConf", shown(file));
    if (result >= 0 && part == UpdateConf)
        scriptedEngine().updateHeld = scriptedEngine().updateSaved;
    return result;
}

int vUpdateConf::SaveConfiguration(const char* file)
{
    const int result = call("vUpdate::SaveConfiguration", shown(file));
    if (result >= 0)
        scriptedEngine().updateSaved = scriptedEngine().updateHeld;
    return result;
}

vUpdate::vUpdate(const char* qsavConf, const char* updateConf)
    : vUpdateConf(qsavConf, updateConf)
    , updateRunning(0)
    , updater(nullptr)
{
    call("vUpdate", shown(qsavConf), shown(updateConf));
}

vUpdate::~vUpdate()
{
    call("~vUpdate");
}

int vUpdate::GetOption(unsigned int id, void* value)
{
    const int result = call("vUpdate::GetOption", std::to_string(id));
    return scripted::after(result, [&] {
        return transferOption(scriptedEngine().updateHeld, id, {value, false});
    });
}

int vUpdate::SetOption(unsigned int id, void* value)
{
    const int result = call("vUpdate::SetOption", std::to_string(id));
    return scripted::after(result, [&] {
        return transferOption(scriptedEngine().updateHeld, id, {value, true});
    });
}

int vUpdate::DoUpdate(AVUpdateCallBack callback, AVUpdateContextData context, const char* arg)
{
    const int result = call("DoUpdate", shown(arg));
    scriptedEngine().updateTermSignalled = false;
    for (const scripted::UpdateStep& step : scriptedEngine().updateScript) {
        if (step(callback, context) == CALLBACK_STOP)
            return UPDATE_STOPPED;
    }
    return result;
}

void signal_update_term(int signal)
{
    call("signal_update_term", std::to_string(signal));
    scriptedEngine().updateTermSignalled = true;
}
