#pragma once

#include "quarantine/digest.h"

namespace vardo {

/// True when the file open as `file` keeps many mails: an mbox of several messages, or the store of a mail
/// program. To act upon it for the sake of one mail would take all the others away. A program, whatever its
/// content looks like, is none. Reads the whole of an mbox of one message; false when `beat` gives that up.
bool isMailFolder(int file, const quarantine::Beat& beat);

} // namespace vardo
