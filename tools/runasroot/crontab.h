#pragma once

#include "base/result.h"

#include <string>
#include <string_view>

namespace runasroot {

/// True for the crontabs that the product writes: none at all, or the one line of the automatic
/// update at some minute and hour. Anything else would let a member of the group run what he likes.
bool isUpdateCrontab(std::string_view text);

/// The checked text of the crontab file `path`, as it stood at one moment: installing this copy, not
/// the file, leaves no time to swap the file after the check.
base::Result<std::string> readUpdateCrontab(const char* path);

} // namespace runasroot
