#pragma once

namespace quarantine {

/// Appends the record of a file that the engine has just moved into the quarantine directory. `objName` is
/// its old path, whose last component leads to the new name: the engine takes the first free one of the
/// series name, name-0, name-1 …. False when the record cannot be written or the file isn't found.
bool recordQuarantined(const char* objName, const char* virus);

} // namespace quarantine
