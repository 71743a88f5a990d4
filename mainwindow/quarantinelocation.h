#pragma once

/// Shows the quarantine directory in the desktop's file manager, by a script of the installation, and waits
/// for its end with the window painted but without input. The script's directory is open to a group, so
/// a script is run only if it belongs to root or the caller and nobody else can write it. Failures are
/// silent.
void openQuarantineLocation(bool asRoot);
