#include "quarantine/restorenote.h"

#include "quarantine/record.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <vector>

namespace quarantine {

namespace {

constexpr char firstField[] = "Vardo restore note 1";
constexpr std::size_t texts = 5;
constexpr std::size_t numbers = 10;
constexpr long nanoseconds = 1'000'000'000;

/// Every field ends with a NUL, the one byte that no name holds.
std::vector<std::string_view> splitFields(std::string_view text)
{
    std::vector<std::string_view> fields;
    for (std::size_t end; (end = text.find('\0')) != text.npos; text.remove_prefix(end + 1))
        fields.push_back(text.substr(0, end));
    if (!text.empty())
        fields.clear();
    return fields;
}

bool takeNumber(std::string_view text, std::int64_t& number)
{
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size();
}

bool inRange(std::int64_t number, std::int64_t most)
{
    return number >= 0 && number <= most;
}

} // namespace

std::string toText(const RestoreNote& note)
{
    std::string text;
    for (const std::string_view field :
         {std::string_view(firstField), std::string_view(note.name), std::string_view(note.origin),
          std::string_view(note.virus), std::string_view(note.content.sha256)})
        text.append(field).push_back('\0');
    for (const std::int64_t number :
         {std::int64_t{note.content.size}, std::int64_t{note.owner}, std::int64_t{note.group},
          std::int64_t{note.mode}, std::int64_t{note.accessed.tv_sec}, std::int64_t{note.accessed.tv_nsec},
          std::int64_t{note.modified.tv_sec}, std::int64_t{note.modified.tv_nsec},
          std::int64_t{note.quarantined.tv_sec}, std::int64_t{note.quarantined.tv_nsec}})
        text.append(std::to_string(number)).push_back('\0');
    return text;
}

std::optional<RestoreNote> parseNote(std::string_view text)
{
    const std::vector<std::string_view> fields = splitFields(text);
    if (fields.size() != texts + numbers || fields[0] != firstField)
        return std::nullopt;
    std::array<std::int64_t, numbers> number = {};
    for (std::size_t i = 0; i < numbers; ++i) {
        if (!takeNumber(fields[texts + i], number[i]))
            return std::nullopt;
    }
    const auto [size, owner, group, mode, accessed, accessedPart, modified, modifiedPart, quarantined,
                quarantinedPart] = number;
    constexpr std::int64_t mostId = std::numeric_limits<uid_t>::max();
    if (size < 0 || !inRange(owner, mostId) || !inRange(group, mostId) || !inRange(mode, 0777) ||
        !inRange(accessedPart, nanoseconds - 1) || !inRange(modifiedPart, nanoseconds - 1) ||
        !inRange(quarantinedPart, nanoseconds - 1))
        return std::nullopt;

    RestoreNote note;
    note.name = fields[1];
    note.origin = fields[2];
    note.virus = fields[3];
    note.content = {std::string(fields[4]), size};
    note.owner = static_cast<uid_t>(owner);
    note.group = static_cast<gid_t>(group);
    note.mode = static_cast<mode_t>(mode);
    note.accessed = {accessed, accessedPart};
    note.modified = {modified, modifiedPart};
    note.quarantined = {quarantined, quarantinedPart};
    return isPlainName(note.name) ? std::optional(std::move(note)) : std::nullopt;
}

} // namespace quarantine
