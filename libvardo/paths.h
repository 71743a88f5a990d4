#pragma once

/// Every fixed path of the engine; a configuration file may name another one in its place.
namespace vardo::paths {

inline constexpr char qsavConf[] = "/opt/Quillstone/etc/qsav.conf";
inline constexpr char vardoConf[] = "/opt/Quillstone/etc/vardo/vardo.conf";
inline constexpr char updatesConf[] = "/opt/Quillstone/etc/updates.conf";
inline constexpr char serviceSocket[] = "/opt/Quillstone/var/run/qsav";
inline constexpr char servicePid[] = "/opt/Quillstone/var/run/qsav.pid";
inline constexpr char installation[] = "/opt/Quillstone";
inline constexpr char signatures[] = "/var/Quillstone/var/lib/signatures";
inline constexpr char systemSignatures[] = "/var/lib/clamav";
inline constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo";
inline constexpr char logs[] = "/var/Quillstone/var/log";
inline constexpr char updateTemp[] = "/var/Quillstone/var/tmp";
inline constexpr char updateBackup[] = "/var/Quillstone/var/lib/signatures.old";

} // namespace vardo::paths
