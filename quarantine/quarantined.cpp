#include "quarantine/quarantined.h"

#include "base/paths.h"
#include "base/uniquefd.h"
#include "quarantine/recordfile.h"
#include "quarantine/storedirectory.h"

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarantine {

namespace {

constexpr int seriesLimit = 1024;
constexpr std::size_t longestName = 255;

/// The last name in use of the series name, name-0, name-1 …, which is where the engine has put the file. A
/// gap ends the search, and so does the limit, one name early.
std::string lastInSeries(int directory, const std::string& name)
{
    const auto exists = [&](int suffix) {
        return ::faccessat(directory, seriesName(name, suffix).c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    };
    int tried = 0;
    while (tried < seriesLimit && exists(tried - 1))
        ++tried;
    return seriesName(name, tried - 2);
}

} // namespace

bool recordQuarantined(const char* objName, const char* virus)
{
    const std::string name = std::string(::basename(objName)).substr(0, longestName);
    const base::UniqueFd directory = openStore(paths::quarantine, O_PATH);
    const std::string file = lastInSeries(directory.get(), name);
    struct stat status = {};
    if (::fstatat(directory.get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    return RecordFile().append(makeRecord(file, status, virus));
}

} // namespace quarantine
