#pragma once

#include "base/result.h"

#include <functional>
#include <string>

struct stat;

namespace quarantine {

/// Removes the file `name` of `directory` if `isIt` holds for its status, and no other that took its name,
/// even at the last moment: ESTALE then.
///
/// The file is moved first into a new directory beside it that only we may enter, and looked at there. What
/// is another one moves back, as moveBack() does. Where no such directory can be made or used, there is a
/// moment between the look and the removal. A process that is killed meanwhile leaves the file in that
/// directory, which goes with the next removal in it.
base::Result<bool> removeChecked(int directory, const std::string& name,
                                 const std::function<bool(const struct stat& status)>& isIt);

/// Moves `from` in `fromDirectory` to `name` in `directory`, or if that is taken to the next free name of the
/// series. The result is that name.
base::Result<std::string> moveBack(int fromDirectory, const std::string& from, int directory,
                                   const std::string& name);

} // namespace quarantine
