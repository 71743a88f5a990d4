#include "libvardo/pathfilter.h"
#include "quarantine/restorenote.h"
#include "tests/fuzz/demand.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

// libFuzzer target: reads the input as a note for restoring and as a list of the settings, and stops when
// what was read is not what is written again, or an item of the list is not found by it.

namespace {

void checkNote(const std::string& text)
{
    const auto note = quarantine::parseNote(text);
    if (!note)
        return;
    const std::string written = quarantine::toText(*note);
    const auto again = quarantine::parseNote(written);
    demand(again && quarantine::toText(*again) == written, "note");
    demand(note->name.find('/') == std::string::npos && note->mode <= 0777 && note->content.size >= 0,
           "a note that leads elsewhere");
}

void checkList(const std::string& text)
{
    constexpr std::string_view dividers = ",; \t";
    const std::vector<std::string> items = vardo::splitList(text, dividers);
    std::string joined;
    for (const std::string& item : items) {
        demand(!item.empty() && item.find_first_of(dividers) == std::string::npos, "item");
        joined += item + ';';
    }
    demand(vardo::splitList(joined, dividers) == items, "divided again");
    const vardo::ExtensionFilter only(vardo::ExtensionFilter::Sense::Only, text);
    const vardo::ExtensionFilter without(vardo::ExtensionFilter::Sense::Without, text);
    const bool any = std::any_of(items.begin(), items.end(), [](const std::string& item) {
        return item.find_first_not_of("*.") != std::string::npos;
    });
    for (const std::string& item : items) {
        const std::size_t start = item.find_first_not_of("*.");
        const std::string name = "name." + (start == std::string::npos ? "" : item.substr(start));
        demand(start == std::string::npos || only.passes(name), "listed and does not pass");
        demand(!any || only.passes(name) != without.passes(name), "both senses");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    checkNote(input);
    checkList(input);
    return 0;
}
