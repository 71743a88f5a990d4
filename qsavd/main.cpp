#include "base/begin.h"
#include "qsavd/endpoint.h"
#include "qsavd/front.h"
#include "qsavd/unpacking.h"

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
    FrontSettings front;
    bool foreground = false;
};

constexpr const char* usage =
    "usage: qsavd --socket PATH --pid-file PATH --signatures DIR [--signatures DIR]...\n"
    "             [--substitute DIR] [--idle-seconds N] [--load-seconds N] [--spare-percent N]\n"
    "             [--room-kilobytes N] [--foreground]\n"
    "Holds the signatures and scans for the programs of one user. Started by them.\n";

std::optional<unsigned> readNumber(std::string_view text)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<Settings> readArguments(int argc, char** argv)
{
    constexpr option options[] = {{"socket", required_argument, nullptr, 's'},
                                  {"pid-file", required_argument, nullptr, 'p'},
                                  {"signatures", required_argument, nullptr, 'd'},
                                  {"substitute", required_argument, nullptr, 'u'},
                                  {"idle-seconds", required_argument, nullptr, 'i'},
                                  {"foreground", no_argument, nullptr, 'f'},
                                  {"spare-percent", required_argument, nullptr, 'm'},
                                  {"load-seconds", required_argument, nullptr, 'l'},
                                  {"room-kilobytes", required_argument, nullptr, 'r'},
                                  {nullptr, 0, nullptr, 0}};
    Settings settings;
    for (int choice = 0; (choice = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
        const bool counts = choice == 'i' || choice == 'm' || choice == 'l' || choice == 'r';
        const auto number = counts ? readNumber(optarg) : std::nullopt;
        if (choice == '?' || (counts && !number))
            return std::nullopt;
        const unsigned count = number.value_or(0);
        if (choice == 's')
            settings.socket = optarg;
        else if (choice == 'p')
            settings.pidFile = optarg;
        else if (choice == 'd')
            settings.front.signatures.directories.emplace_back(optarg);
        else if (choice == 'u')
            settings.front.signatures.substitute = optarg;
        else if (choice == 'i')
            settings.front.idleLimit = std::chrono::seconds(count);
        else if (choice == 'm')
            settings.front.sparePercent = count;
        else if (choice == 'l')
            settings.front.loadLimit = std::chrono::seconds(count);
        else if (choice == 'r')
            settings.front.roomKilobytes = count;
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

int runService(const Settings& settings)
{
    if (!seesWrites()) {
        announce("The scanning library cannot be watched.");
        return EXIT_FAILURE;
    }
    auto pidFile = PidFile::acquire(settings.pidFile);
    if (!pidFile && pidFile.error().code == EWOULDBLOCK) {
        announce("running");
        return EXIT_SUCCESS;
    }
    auto listener = pidFile ? Listener::listen(settings.socket) : pidFile.error();
    const sigset_t signals = servedSignals();
    const base::UniqueFd signalFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!listener || !signalFd || !pidFile.value().record()) {
        announce(listener ? "The pid file cannot be written." : listener.error().text);
        if (listener)
            listener.value().close();
        if (pidFile)
            pidFile.value().remove();
        return EXIT_FAILURE;
    }
    announce("ready");
    if (!settings.foreground)
        leaveTerminal();
    Front(listener.value(), pidFile.value(), signalFd.get(), settings.front).run();
    listener.value().close();
    pidFile.value().remove();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    base::beginProgram();
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
