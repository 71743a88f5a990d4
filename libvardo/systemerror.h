#pragma once

#include "base/systemerror.h"

namespace vardo {

using base::describeError;
using base::systemError;

} // namespace vardo
