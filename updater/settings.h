#pragma once

#include "base/result.h"
#include "protocol/fetchorder.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace updater {

/// What an update goes by, checked: nothing in it can be anything else than it should.
struct Settings
{
    std::string signatures; ///< the directory of the installed set
    std::string temporary;
    std::string backup;
    std::vector<std::string> databases;
    update::FetchOrder order; ///< but for the databases
    std::chrono::minutes limit{};
    std::vector<std::string> refused; ///< paths that do not count, for a person
};

/// Settings that go before those of the file, by their keys: `Update:Server`.
using Wishes = std::map<std::string, std::string>;

/// Reads the paths from `qsavConf` and the rest from `updatesConf`. Members of a group may write both: paths
/// count for root only where root alone may. The error is a text for a person that names the key.
base::Result<Settings> readSettings(const std::string& qsavConf, const std::string& updatesConf,
                                    const Wishes& wishes);

} // namespace updater
