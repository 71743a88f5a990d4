#include "tests/support/sandbox.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

/// insandbox USER GROUP COMMAND...: runs a command on a fresh installation in the sandbox, with these
/// ids, to try things by hand.
int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s USER GROUP COMMAND...\n", argv[0]);
        return EXIT_FAILURE;
    }
    const auto id = [argv](int index) {
        return static_cast<unsigned int>(std::strtoul(argv[index], nullptr, 10));
    };
    if (!sandbox::inside())
        return sandbox::enter(argv, {id(1), id(2)});
    sandbox::makeInstallation();
    execvp(argv[3], argv + 3);
    std::perror(argv[3]);
    return EXIT_FAILURE;
}
