#include "base/uniquefd.h"
#include "sfl/sfl.h"
#include "tests/fuzz/demand.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

// libFuzzer target: loads the input as an ini file, saves the table, loads that, and stops when a value came
// back changed or the shared functions disagree.

namespace {

/// A file in memory, with a path of its own.
class MemoryFile
{
  public:
    MemoryFile()
        : fd_(memfd_create("fuzz", MFD_CLOEXEC))
    {
    }
    MemoryFile(const uint8_t* data, std::size_t size)
        : MemoryFile()
    {
        demand(write(fd_.get(), data, size) == static_cast<ssize_t>(size), "cannot make the input");
    }

    std::string path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }

  private:
    base::UniqueFd fd_;
};

/// Whether a file can hold this name so that it is read as it is: the parts must not look like something
/// else, and the heading of a section with a colon would make a key of that name.
bool isCarried(const std::string& name)
{
    const std::size_t colon = name.find(':');
    const std::string section = name.substr(0, colon), keyword = name.substr(colon + 1);
    constexpr std::size_t room = sfl::lineLimit - 10;
    return section.size() < room && keyword.size() < room && section.find(']') == std::string::npos &&
           keyword.find(':') == std::string::npos && keyword.find_first_of(" #;!") != 0 &&
           sfl::trimmedEnd(keyword).size() == keyword.size();
}

/// Whether `back` is `value`, or as much of it as a line can hold.
bool isCarried(const std::string& value, const std::string& back)
{
    const bool tooLong = sfl::escaped(value).size() + 2 > sfl::lineLimit;
    return tooLong ? value.starts_with(back) && sfl::escaped(back).size() + 4 > sfl::lineLimit
                   : value == back;
}

std::map<std::string, std::string> keysOf(const SymTable& table)
{
    std::map<std::string, std::string> keys;
    for (const _SYMBOL* symbol = table.symbols; symbol; symbol = symbol->next)
        if (std::string(symbol->name).find(':') != std::string::npos)
            keys[symbol->name] = symbol->value;
    return keys;
}

void checkRoundTrip(SymTable& table)
{
    const MemoryFile saved;
    demand(ini_dyn_save(&table, saved.path().c_str()) == 0, "not saved");
    const auto keys = keysOf(table);
    // What stands in the place of other names may be anything, also another key of the table.
    if (!std::all_of(keys.begin(), keys.end(), [](const auto& key) { return isCarried(key.first); }))
        return;
    const sfl::SymTablePtr again(ini_dyn_load(nullptr, saved.path().c_str()));
    const auto back = keysOf(*again);
    demand(back.size() == keys.size(), "another number of keys came back");
    for (const auto& [name, value] : keys)
        demand(back.contains(name) && isCarried(value, back.at(name)), name.c_str());
}

void checkText(const std::string& input)
{
    const std::size_t half = input.find('\n');
    std::string hay = input.substr(0, half).c_str();
    const std::string needle = half == std::string::npos ? "a" : input.substr(half + 1).c_str();
    const char* found = strfind_r(hay.data(), needle.c_str());
    const std::size_t at = found ? static_cast<std::size_t>(found - hay.data()) : std::string::npos;
    demand(at == hay.find(needle), "strfind_r");
    const std::size_t before = hay.size();
    demand(trim(hay.data()) == hay.data() && std::string(hay.c_str()).size() <= before, "trim");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    clearenv();
    setenv("A", "in \"side", 1);
    setenv("home", "; \\(", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemoryFile input(data, size);
    const sfl::SymTablePtr table(ini_dyn_load(nullptr, input.path().c_str()));
    demand(table != nullptr, "no table");
    checkRoundTrip(*table);
    checkText({reinterpret_cast<const char*>(data), size});
    return 0;
}
