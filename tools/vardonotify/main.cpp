#include "base/begin.h"
#include "notify/notify.h"
#include "tools/vardonotify/notices.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

/// What the session's bus starts.
int serve()
{
    ::signal(SIGCHLD, SIG_IGN); // nobody waits for what was opened
    sd_bus* opened = nullptr;
    if (::sd_bus_open_user(&opened) < 0)
        return EXIT_FAILURE;
    const notify::Bus bus(opened);
    Notices notices(opened);
    if (!notices.serve())
        return EXIT_FAILURE;
    notices.run();
    return EXIT_SUCCESS;
}

} // namespace

/// With a summary and a body, and perhaps what a button opens, shows one message and ends.
int main(int argc, char** argv)
{
    base::beginProgram();
    if (argc == 2 && std::string(argv[1]) == "--serve")
        return serve();
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: vardonotify --serve | SUMMARY BODY [window|LOG]\n");
        return EXIT_FAILURE;
    }
    notify::tellCaller({argv[1], argv[2], false, "", argc == 4 ? argv[3] : ""});
    return EXIT_SUCCESS;
}
