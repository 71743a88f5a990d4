#pragma once

#include <optional>
#include <string>
#include <vector>

struct stat;

namespace quarantine {

/// Stands after each of the four fields of a record; the record ends with a newline. Nothing is escaped.
inline constexpr char fieldEnd[] = "~#^|~";

/// What the record file tells of a quarantined file. All of it comes from a file that others may write: the
/// name leads to a file only if isPlainName() agrees.
struct Record
{
    std::string name;                ///< in the quarantine directory; bytes
    std::optional<std::string> date; ///< fields that a line lacks are null
    std::optional<std::string> size;
    std::optional<std::string> virus;

    bool operator==(const Record&) const = default;
};

/// The record of the file `name` in the quarantine directory, with that status: the time of its last access
/// and its size in bytes or whole kilobytes.
Record makeRecord(const std::string& name, const struct stat& status, const std::string& virus);

/// The whole line of a record, with "(null)" for what it lacks.
std::string toLine(const Record& record);

/// Reads a line more freely than toLine() writes it: every character of the separator divides fields on its
/// own, and runs of them count as one. So a name that holds one of them leads to no file. What stands
/// behind the fourth field is dropped; in a shorter line its newline belongs to the last field. Nothing if
/// there is no field at all.
std::optional<Record> parseLine(const std::string& line);

/// The records of a whole record file.
std::vector<Record> parseRecords(const std::string& content);

/// The lines of a record file with their ends. One longer than `limit` bytes comes in pieces of that length,
/// and one with a NUL in it ends there.
std::vector<std::string> splitLines(const std::string& content, std::size_t limit);

/// The longest piece of a line that is read as a record.
inline constexpr std::size_t recordLimit = 2047;

/// True for what names an entry of the quarantine directory itself, and no path to anywhere else.
bool isPlainName(const std::string& name);

} // namespace quarantine
