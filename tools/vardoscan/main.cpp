#include "base/begin.h"
#include "engine/vardo.h"
#include "tools/vardoscan/options.h"
#include "tools/vardoscan/paths.h"
#include "tools/vardoscan/scan.h"
#include "tools/vardoscan/schedule.h"
#include "tools/vardoscan/schedulelist.h"
#include "tools/vardoscan/standback.h"
#include "tools/vardoscan/telling.h"
#include "tools/vardoscan/usage.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

namespace {

int printVersion(Options& options)
{
    chooseConfiguration(options);
    std::printf("vardoscan %s\n", VARDO_VERSION);
    qsavInfo info = {};
    char date[32] = {};
    if (GetQSAVInfo(QS_GetSystemType(), options.avConf.c_str(), info) >= 0 &&
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", &info.udate) > 0)
        std::printf("%lu signatures, version %s of %s\n", info.noOfSignature, info.version, date);
    return NothingFound;
}

int forget(Options& options)
{
    chooseConfiguration(options);
    Vardo engine(options.scanConf.c_str());
    return engine.ForgetFiles(options.avConf.c_str()) < 0 ? fail(engine.ScanError())
                                                          : static_cast<int>(NothingFound);
}

int scanByHand(Options& options)
{
    if (!completePaths(options))
        return SomethingWrong;
    const bool everything = options.notify == Options::Notify::Everything;
    if (everything)
        notify::tell(messageOfBegin(options));
    if (options.gentle)
        standBack({});
    const ScanResult result = scan(options);
    auto message = options.notify == Options::Notify::Nothing ? std::nullopt : messageAbout(result, "");
    if (everything && !message)
        message = messageOfNothing(result);
    if (message)
        notify::tell(*message);
    return result.exitCode;
}

/// Does what is asked for, apart from looking at whether all of it could be printed.
int run(Options& options)
{
    switch (options.task) {
    case Options::Task::Help:
        std::fputs(usage(), stdout);
        return NothingFound;
    case Options::Task::Version:
        return printVersion(options);
    case Options::Task::Schedule:
        return runSchedule(options);
    case Options::Task::Missed:
        return runMissed(options);
    case Options::Task::ListSchedules:
        return listSchedules(options);
    case Options::Task::RemakeCron:
        return remakeCron();
    case Options::Task::Forget:
        return forget(options);
    case Options::Task::Scan:
        break;
    }
    return scanByHand(options);
}

} // namespace

int main(int argc, char** argv)
{
    base::beginProgram();
    // The first signal asks for an end and spoils no output; the second one ends us as usual.
    struct sigaction action = {};
    action.sa_handler = interrupt;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    // When nobody reads on, the log is to end as it should; each further line would send another one.
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);

    std::string error;
    std::optional<Options> options = parseOptions(argc, argv, error);
    if (!options) {
        fail(error);
        std::fprintf(stderr, "Try 'vardoscan --help'.\n");
        return SomethingWrong;
    }
    const int code = run(*options);
    return outputIsWhole() ? code : static_cast<int>(SomethingWrong);
}
