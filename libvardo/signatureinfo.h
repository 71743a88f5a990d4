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
/// an old set look new. The files `leftOut` do not count at all. Nothing when no file can be read.
std::optional<struct_qsavinfo> readSignatureInfo(const std::vector<std::string>& directories,
                                                 const std::vector<std::string>& leftOut);

/// The directories whose signatures the service would load now.
std::vector<std::string> directoriesInUse(const ServicePaths& paths);

/// The kind of engine, from `program`, the service's, and the signatures that it would load.
QS_SystemType systemType(const std::string& program, const ServicePaths& paths);

} // namespace vardo
