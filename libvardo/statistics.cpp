#include "libvardo/statistics.h"

#include <array>

namespace vardo {

namespace {

using Counter = unsigned int QS_InterfaceScanStatistics::*;

struct Rule
{
    int status;
    Counter counter;
};

constexpr std::array rules{
    Rule{SCANSTAT_CLEAN, &QS_InterfaceScanStatistics::scClean},
    Rule{SCANSTAT_SUSPECTED, &QS_InterfaceScanStatistics::scSuspicious},
    Rule{SCANSTAT_ERROR, &QS_InterfaceScanStatistics::scScanError},
    Rule{SCANSTAT_DISINFECTED, &QS_InterfaceScanStatistics::scCured},
    Rule{SCANSTAT_DELETED, &QS_InterfaceScanStatistics::scDeleted},
    Rule{SCANSTAT_QUARANTINED, &QS_InterfaceScanStatistics::scQuarantined},
    Rule{SCANSTAT_RENAMED, &QS_InterfaceScanStatistics::scRenamed},
    Rule{SCANSTAT_DELETE_FAILED, &QS_InterfaceScanStatistics::scActionError},
    Rule{SCANSTAT_QUARANTINE_FAILED, &QS_InterfaceScanStatistics::scActionError},
    Rule{SCANSTAT_RENAME_FAILED, &QS_InterfaceScanStatistics::scActionError},
    Rule{SCANSTAT_CORRUPT, &QS_InterfaceScanStatistics::scCorrupt},
    Rule{SCANSTAT_ENCRYPTED, &QS_InterfaceScanStatistics::scEncrypted},
};

} // namespace

void countObject(QS_InterfaceScanStatistics& statistics, int found, int reported)
{
    ++statistics.scFiles;
    if (found == SCANSTAT_INFECTED) {
        ++statistics.scInfected;
        ++statistics.scVirus;
    } else if (found == SCANSTAT_SUSPECTED && reported != found) {
        ++statistics.scSuspicious;
    }
    for (const Rule& rule : rules) {
        if (reported & rule.status)
            ++(statistics.*rule.counter);
    }
}

} // namespace vardo
