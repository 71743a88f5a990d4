// Measures what opening the containers that libclamav leaves closed costs the scan of a tree:
//   openercost SIGNATURES TREE [ROUNDS]
// Scans each file in turns with and without it and takes the least processor time of each, so that what else
// the machine does is left out.

#include "base/uniquefd.h"
#include "libvardo/beginmessage.h"
#include "qsavd/filescanner.h"
#include "qsavd/layeropener.h"
#include "qsavd/scantrace.h"
#include "qsavd/signatureset.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

namespace fs = std::filesystem;

// The linker leads the scanner's calls of LayerOpener::enter here.
extern "C" {
qsavd::LayerOpener::Next __real__ZN5qsavd11LayerOpener5enterERKNS_9LayerSeenE(qsavd::LayerOpener* opener,
                                                                              const qsavd::LayerSeen& layer);
qsavd::LayerOpener::Next __wrap__ZN5qsavd11LayerOpener5enterERKNS_9LayerSeenE(qsavd::LayerOpener* opener,
                                                                              const qsavd::LayerSeen& layer);
}

namespace {

bool opens = true;

double processorSeconds()
{
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// The least time of each, without the opener and with it.
std::array<double, 2> leastTimes(qsavd::FileScanner& scanner, int file, int rounds)
{
    std::array<double, 2> least;
    least.fill(std::numeric_limits<double>::max());
    for (int turn = 0; turn < 2 * rounds; ++turn) {
        // Neither always follows the other.
        opens = ((turn + turn / 2) & 1) != 0;
        const double begin = processorSeconds();
        scanner.scan(file);
        double& time = least[opens ? 1 : 0];
        time = std::min(time, processorSeconds() - begin);
    }
    return least;
}

void measure(qsavd::FileScanner& scanner, const fs::path& tree, int rounds)
{
    double without = 0;
    double with = 0;
    unsigned files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
        if (!entry.is_regular_file() || entry.is_symlink())
            continue;
        const base::UniqueFd file(open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
        if (!file)
            continue;
        const auto [plain, opened] = leastTimes(scanner, file.get(), rounds);
        without += plain;
        with += opened;
        ++files;
        // Such a file was opened by us.
        if (opened > 1.5 * plain && opened - plain > 0.005)
            std::printf("%+.3f s  %s\n", opened - plain, entry.path().c_str());
    }
    std::printf("%u files: %.2f s without, %.2f s with, %+.2f %%\n", files, without, with,
                100 * (with / without - 1));
}

} // namespace

qsavd::LayerOpener::Next __wrap__ZN5qsavd11LayerOpener5enterERKNS_9LayerSeenE(qsavd::LayerOpener* opener,
                                                                              const qsavd::LayerSeen& layer)
{
    return opens ? __real__ZN5qsavd11LayerOpener5enterERKNS_9LayerSeenE(opener, layer)
                 : qsavd::LayerOpener::Next::Scan;
}

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: openercost SIGNATURES TREE [ROUNDS]\n");
        return EXIT_FAILURE;
    }
    const std::string own = "/dev/shm/openercost-" + std::to_string(getpid()); // in memory, as the service's
    fs::create_directory(own);
    const fs::path tree = fs::absolute(argv[2]);
    int result = EXIT_FAILURE;
    if (cl_init(CL_INIT_DEFAULT) == CL_SUCCESS) {
        qsavd::catchLibraryMessages();
        qsavd::SignatureSet signatures({{fs::absolute(argv[1])}, {}}, own);
        if (signatures.load()) {
            qsavd::FileScanner scanner(signatures.engine(true), vardo::beginMessage({}), own);
            measure(scanner, tree, argc > 3 ? std::max(1, std::atoi(argv[3])) : 5);
            result = EXIT_SUCCESS;
        } else {
            std::fprintf(stderr, "%s\n", signatures.remark().c_str());
        }
    }
    fs::remove_all(own);
    return result;
}
