#pragma once

#include "engine/qsavinfo.h"

#include <optional>
#include <string>
#include <vector>

namespace vardo {

struct ServicePaths;

/// What the files of the signature directories say of themselves, from their headers: signatures in all,
/// and date and version of the newest database. Files without a header, such as single signatures of an
/// administrator, count for date and version only when there is no database: a touched file must not make
/// an old set look new. Nothing when no file can be read.
std::optional<struct_qsavinfo> readSignatureInfo(const std::vector<std::string>& directories);

/// True when `directory` holds a database as an update brings it.
bool hasUpdatedSet(const std::string& directory);

/// The kind of engine, from the service's program and the signatures that it would load.
QS_SystemType systemType(const std::string& serviceProgram, const ServicePaths& paths);

} // namespace vardo
