#include "base/priority.h"
#include "qsavd/endpoint.h"
#include "qsavd/filescanner.h"
#include "qsavd/service.h"
#include "qsavd/signatureset.h"
#include "qsavd/warmup.h"
#include "qsavd/workspace.h"

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <getopt.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace qsavd;

struct Settings
{
    std::string socket;
    std::string pidFile;
    std::vector<std::string> signatureDirectories;
    std::chrono::seconds idleLimit{600};
    bool foreground = false;
};

constexpr const char* usage =
    "usage: qsavd --socket PATH --pid-file PATH --signatures DIR [--signatures DIR]...\n"
    "             [--idle-seconds N] [--foreground]\n"
    "Holds the signatures and scans for the programs of one user. Started by them.\n";

std::optional<std::chrono::seconds> readSeconds(std::string_view text)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return std::chrono::seconds(value);
}

std::optional<Settings> readArguments(int argc, char** argv)
{
    constexpr option options[] = {
        {"socket", required_argument, nullptr, 's'},     {"pid-file", required_argument, nullptr, 'p'},
        {"signatures", required_argument, nullptr, 'd'}, {"idle-seconds", required_argument, nullptr, 'i'},
        {"foreground", no_argument, nullptr, 'f'},       {nullptr, 0, nullptr, 0}};
    Settings settings;
    for (int choice = 0; (choice = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
        const auto seconds = choice == 'i' ? readSeconds(optarg) : std::nullopt;
        if (choice == '?' || (choice == 'i' && !seconds))
            return std::nullopt;
        if (choice == 's')
            settings.socket = optarg;
        else if (choice == 'p')
            settings.pidFile = optarg;
        else if (choice == 'd')
            settings.signatureDirectories.emplace_back(optarg);
        else if (choice == 'i')
            settings.idleLimit = *seconds;
        else
            settings.foreground = true;
    }
    if (settings.socket.empty() || settings.pidFile.empty() || optind != argc)
        return std::nullopt;
    return settings;
}

/// Tells whoever started us, in one line, how it went.
void announce(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void leaveTerminal()
{
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int fd = STDIN_FILENO; null >= 0 && fd <= STDERR_FILENO; ++fd)
        dup2(null, fd);
    if (null > STDERR_FILENO)
        close(null);
}

sigset_t servedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

/// Who started us may stand back behind others, and has had us load like that; the next one need not.
void standLikeOthers()
{
    base::takePriority({});
    base::useAllCores();
}

bool toldToEnd()
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGTERM) == 1 || sigismember(&pending, SIGINT) == 1;
}

int serve(const Settings& settings, const Workspace& workspace, Listener& listener,
          const std::function<void()>& leave)
{
    const sigset_t signals = servedSignals();
    const base::UniqueFd signalFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signalFd || cl_init(CL_INIT_DEFAULT) != CL_SUCCESS)
        return EXIT_FAILURE;
    catchLibraryMessages();
    const Warmth warmth;
    // The library cannot be made to stop loading.
    SignatureSet signatures(settings.signatureDirectories, workspace.path(), [&] {
        if (toldToEnd()) {
            leave();
            _exit(EXIT_SUCCESS);
        }
    });
    signatures.load();
    standLikeOthers();
    Service service(listener.descriptor(), signalFd.get(), signatures, workspace, settings.idleLimit);
    service.run();
    return EXIT_SUCCESS;
}

int runService(const Settings& settings)
{
    auto pidFile = PidFile::acquire(settings.pidFile);
    if (!pidFile && pidFile.error().code == EWOULDBLOCK) {
        announce("running");
        return EXIT_SUCCESS;
    }
    auto listener = pidFile ? Listener::listen(settings.socket) : pidFile.error();
    auto workspace = listener ? Workspace::create() : listener.error();
    if (!workspace || !pidFile.value().record()) {
        announce(workspace ? "The pid file cannot be written." : workspace.error().text);
        if (listener)
            listener.value().close();
        if (pidFile)
            pidFile.value().remove();
        return EXIT_FAILURE;
    }
    announce("ready");
    if (!settings.foreground)
        leaveTerminal();
    const auto leave = [&] {
        listener.value().close();
        pidFile.value().remove();
        Workspace::removeDirectory(workspace.value().path());
    };
    const int result = serve(settings, workspace.value(), listener.value(), leave);
    leave();
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    const auto settings = readArguments(argc, argv);
    if (!settings) {
        std::fputs(usage, stderr);
        return 2;
    }
    umask(077);
    if (chdir("/") != 0)
        return EXIT_FAILURE;
    const sigset_t signals = servedSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    if (!settings->foreground) {
        const pid_t child = fork();
        if (child != 0)
            _exit(child > 0 ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    return runService(*settings);
}
