#pragma once

#include "libvardo/remembering.h"
#include "libvardo/scansession.h"

#include <string>

namespace vardo {

/// What the configuration files say of the service and of the limits of a scan.
struct EngineSettings
{
    ServicePaths service;
    SessionOptions limits; ///< `archives` to `heuristics` follow the option bits, which the caller applies
    std::string quarantineDir; ///< absolute; its contents are never scanned
    bool mailFolders = false;  ///< mail folders are acted upon like other files
    bool remembers = true;     ///< clean files are left out until they change
    RememberSettings remember{};
    bool gentle = false; ///< what is only read for a scan leaves the memory again
};

/// Reads the paths from `avConf` and the limits from `scanConf`; null means the installation's file.
/// Never fails: what a file lacks, or says outside the documented range, takes its default. A path
/// that is not absolute counts as missing, and no key names anything that is run.
EngineSettings loadEngineSettings(const char* avConf, const char* scanConf);

/// The paths alone, with the default for what `scanConf` says of the service.
ServicePaths loadServicePaths(const char* avConf);

} // namespace vardo
