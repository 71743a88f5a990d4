#pragma once

#include "base/result.h"

#include <string>
#include <string_view>

#include <sys/types.h>

namespace runasroot {

/// True for the crontabs that the product writes: none at all, or the one line of the automatic
/// update at some minute and hour. Anything else would let a member of the group run what he likes.
bool isUpdateCrontab(std::string_view text);

/// The checked text of the crontab file `path`, as it stood at one moment: installing this copy, not
/// the file, leaves no time to swap the file after the check.
base::Result<std::string> readUpdateCrontab(const char* path);

/// Changes the owner of the crontab file `path`, and of no other file that was put in its place.
base::Result<bool> giveUpdateCrontab(const char* path, uid_t user, gid_t group);

} // namespace runasroot
