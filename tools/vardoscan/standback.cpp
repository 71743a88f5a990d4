#include "tools/vardoscan/standback.h"

#include "base/paths.h"
#include "base/plainfile.h"
#include "base/priority.h"
#include "base/replacefile.h"
#include "jobs/directory.h"
#include "sfl/inisyntax.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
#include <string>

namespace {

constexpr std::size_t largest = 1 << 20;
constexpr char section[] = "Schedule";

using Values = std::map<std::string, std::string>;

/// Members of the group can change the file and the directory it is in: no link is followed there.
Values readValues()
{
    const base::UniqueFd directory = jobs::openDirectoryOf(paths::vardoConf);
    const base::UniqueFd file =
        base::openPlainFile(directory.get(), jobs::fileNameOf(paths::vardoConf).c_str(), O_RDONLY);
    auto text = base::readAll(file.get(), largest);
    Values values;
    sfl::IniReader reader(text ? text.value() : std::string_view());
    for (sfl::IniItem item; reader.next(item);) {
        if (!item.heading && item.section == section)
            values[item.keyword] = sfl::valueOf(item.raw);
    }
    return values;
}

template <class Number>
void takeNumber(const Values& values, const char* key, Number least, Number most, Number& number)
{
    const auto found = values.find(key);
    if (found == values.end())
        return;
    const std::string& text = found->second;
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size())
        number = std::clamp(value, least, most);
}

void takeFlag(const Values& values, const char* key, bool& flag)
{
    const auto found = values.find(key);
    if (found == values.end())
        return;
    std::string word = found->second;
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    if (word == "yes" || word == "on" || word == "true" || word == "1")
        flag = true;
    else if (word == "no" || word == "off" || word == "false" || word == "0")
        flag = false;
}

} // namespace

ScheduleSettings readScheduleSettings()
{
    const Values values = readValues();
    ScheduleSettings settings;
    takeNumber(values, "Nice", 0, 19, settings.nice);
    takeNumber(values, "Cores", 1u, 100u, settings.cores);
    takeFlag(values, "IdleIO", settings.idleIo);
    takeFlag(values, "Notify", settings.notify);
    return settings;
}

void standBack(const ScheduleSettings& settings)
{
    base::Priority priority = base::ownPriority();
    priority.nice = std::max(priority.nice, settings.nice);
    if (settings.idleIo)
        priority.io = base::idleIo();
    base::takePriority(priority);
    base::limitCores(std::max(1u, base::usableCores() * settings.cores / 100));
}
