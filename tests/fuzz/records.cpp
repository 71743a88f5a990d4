#include "quarantine/record.h"
#include "tests/fuzz/demand.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// libFuzzer target: reads the input as a record file, and stops when a record's fields are not those of
// strtok, its lines not those of fgets, or what was read is not what is written again.

namespace {

void checkLines(std::string content, std::size_t limit)
{
    std::FILE* file = content.empty() ? nullptr : fmemopen(content.data(), content.size(), "r");
    std::vector<char> buffer(limit + 1);
    for (const std::string& line : quarantine::splitLines(content, limit))
        demand(std::fgets(buffer.data(), static_cast<int>(buffer.size()), file) && line == buffer.data(),
               "line");
    demand(!file || !std::fgets(buffer.data(), static_cast<int>(buffer.size()), file), "fewer lines");
    if (file)
        std::fclose(file);
}

void checkFields(const std::string& line)
{
    std::string copy = line;
    const char* token = std::strtok(copy.data(), quarantine::fieldEnd);
    const auto record = quarantine::parseLine(line);
    demand(record.has_value() == (token != nullptr), "no record");
    if (!record)
        return;
    demand(record->name == token, "name");
    for (const auto& field : {record->date, record->size, record->virus}) {
        token = token ? std::strtok(nullptr, quarantine::fieldEnd) : nullptr;
        demand(field ? token && *field == token : !token, "field");
    }
    // A field that is missing, or has a line end in it, comes back as another one.
    const bool whole = record->virus && line.find('\n') == line.npos;
    demand(!whole || quarantine::parseLine(quarantine::toLine(*record)) == record, "written and read again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    for (const std::size_t limit : {std::size_t(7), quarantine::recordLimit})
        checkLines(input, limit);
    for (const std::string& line : quarantine::splitLines(input, quarantine::recordLimit))
        checkFields(line);
    return 0;
}
