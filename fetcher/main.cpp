// Whatever of an update meets what others made: the network, the library that downloads, the parsing of
// databases. Runs without rights, told by updatenow what to do, and ends with it.

#include "base/begin.h"
#include "fetcher/check.h"
#include "fetcher/fetch.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

int main(int argc, char** argv)
{
    base::beginProgram();
    const std::string_view task = argc == 2 ? argv[1] : "";
    if (task == "fetch") {
        update::FetchOrder order;
        std::cin >> order;
        fetcher::fetch(order);
    } else if (task == "check") {
        std::vector<std::string> files;
        for (std::string file; std::getline(std::cin, file);)
            files.push_back(file);
        fetcher::check(files);
    } else {
        std::cerr << "qsfetch: started by updatenow only\n";
        return EXIT_FAILURE;
    }
    // The library's threads and clean-up have nothing left to do.
    ::_exit(EXIT_SUCCESS);
}
