#pragma once

#include "quarantine/paths.h"

/// Every fixed path of the window, the one place to look for them but for the records of the quarantine.
namespace paths {

inline constexpr char qsavConf[] = "/opt/Quillstone/etc/qsav.conf";
inline constexpr char vardoConf[] = "/opt/Quillstone/etc/vardo/vardo.conf";
inline constexpr char updatesConf[] = "/opt/Quillstone/etc/updates.conf";
inline constexpr char versionFile[] = "/opt/Quillstone/etc/vardo-ver";
inline constexpr char guardFile[] = "/opt/Quillstone/var/run/vardogui.pid";
inline constexpr char lastScan[] = "/opt/Quillstone/etc/vardo/.lastScan";
inline constexpr auto& quarantineDir = quarantine::directoryPath;
inline constexpr char quarantineOpener[] = "/opt/Quillstone/etc/vardo/.rnWM.sh";
inline constexpr char updateCrontab[] = "/opt/Quillstone/etc/qsavupdate";
inline constexpr char updateNow[] = "/opt/Quillstone/usr/bin/updatenow";
inline constexpr char logLocation[] = "/var/Quillstone/var/log"; ///< unless the settings say otherwise
inline constexpr char updateLog[] = "/var/Quillstone/var/log/updates.log";
inline constexpr char autoUpdateLog[] = "/var/Quillstone/var/log/autoupdate.log";
inline constexpr char runAsRoot[] = "/opt/Quillstone/sbin/runasroot";
inline constexpr char scheduleStore[] = "/opt/Quillstone/etc/vardo/schedule.conf";
inline constexpr char progressAnimation[] = "/opt/Quillstone/var/www/htdocs/images/VardoProgress.gif";

} // namespace paths
