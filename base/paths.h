#pragma once

/// Every fixed path of the product, the one place to look for them. Paths of the engine may be replaced by
/// configuration files.
namespace paths {

inline constexpr char installation[] = "/opt/Quillstone";
inline constexpr char qsavConf[] = "/opt/Quillstone/etc/qsav.conf";
inline constexpr char updatesConf[] = "/opt/Quillstone/etc/updates.conf";
inline constexpr char versionFile[] = "/opt/Quillstone/etc/vardo-ver";
inline constexpr char updateCrontab[] = "/opt/Quillstone/etc/qsavupdate";
inline constexpr char vardoConf[] = "/opt/Quillstone/etc/vardo/vardo.conf";
inline constexpr char scheduleStore[] = "/opt/Quillstone/etc/vardo/schedule.conf";
inline constexpr char scheduleCron[] = "/opt/Quillstone/etc/vardo/qsschedule.cron"; // read by nobody
inline constexpr char lastScan[] = "/opt/Quillstone/etc/vardo/.lastScan";
inline constexpr char quarantineRecords[] = "/opt/Quillstone/etc/vardo/.quarantined";
inline constexpr char newQuarantineRecords[] = "/opt/Quillstone/etc/vardo/.quarantined_tmp";
inline constexpr char quarantineOpener[] = "/opt/Quillstone/etc/vardo/.rnWM.sh";
inline constexpr char runAsRoot[] = "/opt/Quillstone/sbin/runasroot";
inline constexpr char notifier[] = "/opt/Quillstone/sbin/vardonotify";
inline constexpr char vardoGui[] = "/opt/Quillstone/usr/bin/vardogui";
inline constexpr char vardoScan[] = "/opt/Quillstone/usr/bin/vardoscan";
inline constexpr char vardoQuarantine[] = "/opt/Quillstone/usr/bin/vardoquarantine";
inline constexpr char updateNow[] = "/opt/Quillstone/usr/bin/updatenow";
inline constexpr char guardFile[] = "/opt/Quillstone/var/run/vardogui.pid";
inline constexpr char help[] = "/opt/Quillstone/share/help/index.html";
inline constexpr char progressAnimation[] = "/opt/Quillstone/var/www/htdocs/images/VardoProgress.gif";

inline constexpr char signatures[] = "/var/Quillstone/var/lib/signatures";
inline constexpr char systemSignatures[] = "/var/lib/clamav";
inline constexpr char scheduleStamps[] = "/var/Quillstone/var/lib/schedules";   // of root's alone
inline constexpr char rememberedFiles[] = "/var/Quillstone/var/lib/remembered"; // of root's alone
inline constexpr char updateTemp[] = "/var/Quillstone/var/tmp";
inline constexpr char updateBackup[] = "/var/Quillstone/var/lib/signatures.old";
inline constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo";
inline constexpr char logs[] = "/var/Quillstone/var/log";
inline constexpr char logFolder[] = "vardo"; // of scans, in there or in the place that is configured
inline constexpr char logMark[] = ".chosen"; // in the folder: root wants it there
inline constexpr char updateLog[] = "/var/Quillstone/var/log/updates.log";
inline constexpr char autoUpdateLog[] = "/var/Quillstone/var/log/autoupdate.log";

/// Of root's service; in a directory that only root may write.
inline constexpr char runDirectory[] = "/run/vardo";
inline constexpr char serviceSocket[] = "/run/vardo/qsav";
inline constexpr char servicePid[] = "/run/vardo/qsav.pid";
inline constexpr char formerSocket[] = "/opt/Quillstone/var/run/qsav"; // in older configurations
inline constexpr char formerPid[] = "/opt/Quillstone/var/run/qsav.pid";

/// What cron reads.
inline constexpr char cronFile[] = "/etc/cron.d/vardo";
/// What restarts cron, by the first of these names that there is.
inline constexpr char cronScript[] = "/etc/init.d/cron";
inline constexpr char crondScript[] = "/etc/init.d/crond";

} // namespace paths
