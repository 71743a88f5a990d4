#pragma once

/// Where the quarantine lies: the directory of the moved files, and the file with a record of each.
namespace quarantine {

inline constexpr char directoryPath[] = "/var/Quillstone/var/quarantine/vardo";
inline constexpr char recordsPath[] = "/opt/Quillstone/etc/vardo/.quarantined";
inline constexpr char newRecordsPath[] = "/opt/Quillstone/etc/vardo/.quarantined_tmp";

} // namespace quarantine
