#pragma once

#include "quarantine/record.h"

#include <optional>
#include <string>
#include <vector>

/// What the quarantine page does with the record file and the quarantined files. No more than a plain name
/// in the quarantine directory is taken from a record, and no link is followed.
namespace quarantine {

/// Reads the records whose files exist and rewrites the record file with them alone. A field that was
/// missing is then written as "(null)". Nothing when the directory or the record file cannot be opened; no
/// file has changed then.
std::optional<std::vector<Record>> load();

/// Drops every record that holds `name` and a separator anywhere. False when the files cannot be opened.
bool removeRecord(const std::string& name);

/// Leaves an empty record file.
void clearRecords();

/// True when the caller may write the quarantine directory.
bool mayDelete();
/// True when the caller may write that file.
bool mayDelete(const std::string& name);
/// Deletes the file and what is noted for putting it back. Failures are silent.
void deleteFile(const std::string& name);

} // namespace quarantine
