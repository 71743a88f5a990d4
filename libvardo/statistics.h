#pragma once

#include "engine/interface.h"

namespace vardo {

/// Counts one object that the scan `found` to be of some SCANSTAT_ status and that is `reported` with
/// another one when something was done about it.
void countObject(QS_InterfaceScanStatistics& statistics, int found, int reported);

} // namespace vardo
