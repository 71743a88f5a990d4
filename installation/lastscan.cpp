#include "installation/lastscan.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "installation/statefile.h"

#include <ctime>

bool writeLastScan()
{
    const base::UniqueFd file = openStateFile(paths::lastScan, O_WRONLY);
    if (!file || ::ftruncate(file.get(), 0) != 0)
        return false;
    const std::time_t now = std::time(nullptr);
    struct tm local = {};
    ::localtime_r(&now, &local);
    char line[32];
    const std::size_t length = std::strftime(line, sizeof line, "%d/%m/%Y %H:%M\n", &local);
    return base::writeAll(file.get(), {line, length});
}
