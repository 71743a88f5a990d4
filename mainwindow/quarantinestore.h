#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

/// The record file of the quarantine and the quarantined files. Everybody may write the record file, so no
/// more than a plain name in the quarantine directory is taken from it, and no link is followed.
namespace quarantine {

/// The fields of a record: file name, date, size, virus name. Missing ones are null.
using Record = std::array<std::optional<std::string>, 4>;

/// Reads the records whose files exist and rewrites the record file with them alone. A field that was
/// missing is then written as "(null)". Nothing when the files cannot be opened; no file has changed then.
std::optional<std::vector<Record>> load();

/// Drops every record that holds `name` and a separator anywhere. False when the files cannot be opened.
bool removeRecord(const std::string& name);

/// Leaves an empty record file.
void clearRecords();

/// True when the caller may write the quarantine directory.
bool mayDelete();
/// True when the caller may write that file.
bool mayDelete(const std::string& name);
/// Failures are silent.
void deleteFile(const std::string& name);

} // namespace quarantine
