#pragma once

#include "protocol/protocol.h"

#include <string>

#include <sys/types.h>

#include <clamav.h>

namespace qsavd {

/// What a worker is given by the service.
struct WorkerTask
{
    int socket = -1;       ///< towards the client
    pid_t service = 0;     ///< dies with it
    std::string directory; ///< own and empty
    cl_engine* engine = nullptr;
    Begin options;
};

/// The life of a worker, in the process forked for it: locks itself down, then scans what comes until
/// the client hangs up.
[[noreturn]] void runWorker(const WorkerTask& task);

} // namespace qsavd
