#include "quarantine/record.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <string_view>

#include <sys/stat.h>

namespace quarantine {

namespace {

std::string dateField(std::time_t time)
{
    struct tm local = {};
    char text[32];
    ::localtime_r(&time, &local);
    return {text, std::strftime(text, sizeof text, "%Y %m %d %H:%M:%S", &local)};
}

/// Whole kilobytes with a "K", in six significant digits, or below one kilobyte the bytes.
std::string sizeField(off_t size)
{
    if (size < 1024)
        return std::to_string(size);
    const off_t whole = size / 1024;
    const auto kilobytes = static_cast<float>(whole);
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, static_cast<double>(kilobytes),
                                   std::chars_format::general, 6);
    return std::string(text, end.ptr) + "K";
}

} // namespace

Record makeRecord(const std::string& name, const struct stat& status, const std::string& virus)
{
    return {name, dateField(status.st_atime), sizeField(status.st_size), virus};
}

std::string toLine(const Record& record)
{
    std::string line = record.name + fieldEnd;
    for (const auto& field : {record.date, record.size, record.virus})
        line.append(field.value_or("(null)")).append(fieldEnd);
    return line + '\n';
}

std::optional<Record> parseLine(const std::string& line)
{
    std::string_view rest = line;
    const auto next = [&rest]() -> std::optional<std::string> {
        rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(fieldEnd)));
        if (rest.empty())
            return std::nullopt;
        const std::string field(rest.substr(0, rest.find_first_of(fieldEnd)));
        rest.remove_prefix(field.size());
        return field;
    };
    const std::optional<std::string> name = next();
    if (!name)
        return std::nullopt;
    Record record{*name, {}, {}, {}};
    for (auto* field : {&record.date, &record.size, &record.virus})
        *field = next();
    return record;
}

std::vector<Record> parseRecords(const std::string& content)
{
    std::vector<Record> records;
    for (const std::string& line : splitLines(content, recordLimit)) {
        if (auto record = parseLine(line))
            records.push_back(std::move(*record));
    }
    return records;
}

std::vector<std::string> splitLines(const std::string& content, std::size_t limit)
{
    std::vector<std::string> lines;
    for (std::string_view rest = content; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        const std::size_t length = std::min({end == rest.npos ? end : end + 1, limit, rest.size()});
        const std::string_view line = rest.substr(0, length);
        lines.emplace_back(line.substr(0, line.find('\0')));
        rest.remove_prefix(length);
    }
    return lines;
}

bool isPlainName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

} // namespace quarantine
