#include "tools/vardoquarantine/output.h"

#include "tools/escape.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace {

struct RepairWords
{
    const char* key;
    const char* text;
};

/// In the order of Repair::Kind.
constexpr std::array repairWords{RepairWords{"recorded", "put on the quarantine list: "},
                                 RepairWords{"record_dropped", "taken off the quarantine list: "},
                                 RepairWords{"note_dropped", "note of a file that has gone dropped: "},
                                 RepairWords{"locked_up", "everybody's rights taken away: "},
                                 RepairWords{"unfinished_removed", "unfinished copy removed"},
                                 RepairWords{"original_removed", "removed from where it was: "},
                                 RepairWords{"still_at_origin", "left where it was, too: "}};

std::string timeText(std::time_t time)
{
    struct tm local = {};
    char text[32] = "";
    if (::localtime_r(&time, &local))
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

std::string virusOf(const Item& item)
{
    return item.note ? item.note->virus : item.record ? item.record->virus.value_or("") : "";
}

std::string itemText(const Item& item, bool matches)
{
    std::string line = escapeForTerminal(item.name);
    if (const std::string virus = virusOf(item); !virus.empty())
        line += " [" + escapeForTerminal(virus) + "]";
    if (item.isFile())
        line += " " + std::to_string(item.file->st_size) + " bytes";
    if (item.note)
        line += ", " + timeText(item.note->quarantined.tv_sec);
    if (item.isFile())
        line += ", from " + (item.note && !item.note->origin.empty() ? escapeForTerminal(item.note->origin)
                                                                     : "an unknown place");
    if (item.file && !item.isFile())
        line += " (not a file)";
    if (item.leftBehind)
        line += " (still there, too)";
    else if (!matches)
        line += item.file ? " (not on the quarantine list)" : " (no such file)";
    return line;
}

std::string truth(const char* key, bool value)
{
    return std::string(",\"") + key + "\":" + (value ? "true" : "false");
}

std::string number(const char* key, long long value)
{
    return std::string(",\"") + key + "\":" + std::to_string(value);
}

std::string itemJson(const Item& item, bool matches)
{
    std::string json = jsonMember("name", item.name) + truth("matches", matches) +
                       truth("file", item.isFile()) + truth("record", item.record.has_value()) +
                       truth("restorable", item.note && !item.note->origin.empty());
    if (const std::string virus = virusOf(item); !virus.empty())
        json += jsonMember("virus", virus);
    if (item.isFile())
        json += number("size", item.file->st_size);
    if (item.leftBehind)
        json += truth("still_at_origin", true);
    if (!item.note)
        return json;
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", item.note->mode);
    return json + jsonMember("origin", item.note->origin) + number("owner", item.note->owner) +
           number("group", item.note->group) + jsonMember("mode", mode) +
           number("modified", item.note->modified.tv_sec) +
           number("quarantined", item.note->quarantined.tv_sec) +
           jsonMember("sha256", item.note->content.sha256);
}

void printJson(const char* type, const std::string& members)
{
    std::printf("{\"type\":\"%s\"%s}\n", type, members.c_str());
}

} // namespace

void Output::item(const Item& item, bool matches)
{
    ++items_;
    mismatches_ += !matches;
    if (json_)
        printJson("item", itemJson(item, matches));
    else
        std::printf("%s\n", itemText(item, matches).c_str());
}

void Output::summary() const
{
    if (json_)
        return printJson("summary", number("items", static_cast<long long>(items_)) +
                                        number("mismatches", static_cast<long long>(mismatches_)));
    if (items_ == 0)
        std::printf("The quarantine is empty.\n");
    if (mismatches_ > 0)
        std::printf("\n%lu of these can be mended by 'vardoquarantine repair'.\n", mismatches_);
}

void Output::restored(const std::string& name, const std::string& path) const
{
    if (json_)
        return printJson("restored", jsonMember("name", name) + jsonMember("path", path));
    std::printf("%s restored to %s\n", escapeForTerminal(name).c_str(), escapeForTerminal(path).c_str());
}

void Output::deleted(const std::string& name) const
{
    if (json_)
        return printJson("deleted", jsonMember("name", name));
    std::printf("%s deleted\n", escapeForTerminal(name).c_str());
}

void Output::repair(const Repair& repair) const
{
    const RepairWords& words = repairWords.at(static_cast<std::size_t>(repair.kind));
    if (json_)
        return printJson(words.key, repair.name.empty() ? "" : jsonMember("name", repair.name));
    std::printf("%s%s\n", words.text, escapeForTerminal(repair.name).c_str());
}

void Output::failure(const std::string& name, const std::string& text) const
{
    const std::string about = name.empty() ? "" : escapeForTerminal(name) + ": ";
    std::fprintf(stderr, "vardoquarantine: %s%s\n", about.c_str(), escapeForTerminal(text).c_str());
}
