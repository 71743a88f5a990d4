#pragma once

#include "libvardo/remembering.h"
#include "libvardo/scansession.h"

#include <string>
#include <vector>

namespace vardo {

class ConfFile;

/// What the configuration files say of the service and of the limits of a scan.
struct EngineSettings
{
    ServicePaths service;
    SessionOptions limits; ///< `archives` to `heuristics` follow the option bits, which the caller applies
    std::string quarantineDir;        ///< absolute; its contents are never scanned
    bool mailFolders = false;         ///< mail folders are acted upon like other files
    std::vector<std::string> refused; ///< for a person: what does not count, since root does not take it
    bool remembers = true;            ///< clean files are left out until they change
    RememberSettings remember{};
    bool gentle = false; ///< what is only read for a scan leaves the memory again
};

/// Reads the paths from `avConf` and the limits from `scanConf`; null means the installation's file.
/// Never fails: what a file lacks, or says outside the documented range, takes its default. A path
/// that is not absolute counts as missing, and no key names anything that is run.
EngineSettings loadEngineSettings(const char* avConf, const char* scanConf);

/// True when logs go where `conf`, a scan configuration, says. Root's go there only if nobody else can have
/// said so, or if only root may write there and has chosen it before: else root would make folders and
/// files where others want them.
bool logLocationCounts(const ConfFile& conf);

/// The paths alone, with the default for what `scanConf` says of the service.
ServicePaths loadServicePaths(const char* avConf);

} // namespace vardo
