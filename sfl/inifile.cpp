#include "sfl/inifile.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// A save follows the line ends of the file read last, whichever table that was for.
thread_local bool lastReadHadCarriageReturns = false;

bool exists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

/// `name` itself or else its place below a directory of PATH; empty when it is nowhere.
std::string findFile(const std::string& name)
{
    if (exists(name))
        return name;
    const char* path = std::getenv("PATH");
    std::string_view rest = path ? path : "";
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        std::string candidate = std::string(rest.substr(0, end)) + "/" + name;
        if (exists(candidate))
            return candidate;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return {};
}

/// The content of a regular file; empty for anything else, which might never end.
std::string readText(const std::string& path)
{
    std::error_code ignored;
    std::ostringstream text;
    if (std::filesystem::is_regular_file(path, ignored))
        text << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(text).str();
}

bool writeText(const char* path, std::string_view text)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    return file.good();
}

void assume(SymTable* table, const std::string& name, const std::string& value)
{
    sym_assume_symbol_(table, name.c_str(), value.c_str(), "inifile", 0);
}

void describeFile(SymTable* table, const char* filename, const std::string& path)
{
    struct stat status = {};
    struct tm when = {};
    if (::stat(path.c_str(), &status) == 0)
        ::localtime_r(&status.st_mtime, &when);
    const long date = (when.tm_year + 1900L) * 10000 + (when.tm_mon + 1) * 100 + when.tm_mday;
    const long time = when.tm_hour * 10000L + when.tm_min * 100 + when.tm_sec;
    assume(table, "filename", filename);
    assume(table, "filedate", std::to_string(date));
    assume(table, "filetime", std::to_string(time));
}

/// The value that a raw text stands for. Whether it is quoted shows only once $(NAME) is replaced.
std::string valueOf(const std::string& raw)
{
    std::string_view text = raw;
    if (!raw.starts_with('"'))
        text = sfl::trimmedEnd(text.substr(0, text.find_first_of(";#")));
    std::string value = sfl::substituted(text);
    if (!value.starts_with('"'))
        return value;
    value = sfl::unescaped(value);
    if (!value.empty())
        value.pop_back();
    return value.empty() ? value : value.substr(1);
}

void appendSymbols(std::string& text, const SymTable& table)
{
    std::optional<std::string_view> section;
    for (const _SYMBOL* symbol = table.symbols; symbol; symbol = symbol->next) {
        const std::string_view name = symbol->name;
        const std::size_t colon = name.rfind(':');
        if (colon == std::string_view::npos)
            continue;
        if (section != name.substr(0, colon)) {
            section = name.substr(0, colon);
            text.append("\n[").append(*section).append("]\n");
        }
        text.append("    ").append(name.substr(colon + 1)).append(" = \"");
        text.append(sfl::escaped(symbol->value)).append("\"\n");
    }
}

std::string withCarriageReturns(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        if (c == '\n')
            result += '\r';
        result += c;
    }
    return result;
}

} // namespace

SymTable* ini_dyn_load(SymTable* table, const char* filename)
{
    if (!table)
        table = sym_create_table_("inifile", 0);
    const std::string path = filename ? findFile(filename) : "";
    if (!table || path.empty())
        return table;

    describeFile(table, filename, path);
    const std::string text = readText(path);
    sfl::IniReader reader(text);
    for (sfl::IniItem item; reader.next(item);) {
        if (item.heading)
            assume(table, item.section, "");
        else
            assume(table, item.section + ":" + item.keyword, valueOf(item.raw));
    }
    lastReadHadCarriageReturns = reader.sawCarriageReturn();
    sfl::sortTable(*table);
    return table;
}

int ini_dyn_save(SymTable* table, const char* filename)
{
    if (!table || !filename)
        return -1;
    std::string text;
    if (exists(filename)) {
        const std::string old = readText(filename);
        sfl::LineReader lines(old);
        text = sfl::headOf(lines);
        lastReadHadCarriageReturns = lines.sawCarriageReturn();
    }
    text.append(sfl::endMark).append("\n");
    sfl::sortTable(*table);
    appendSymbols(text, *table);
    return writeText(filename, lastReadHadCarriageReturns ? withCarriageReturns(text) : text) ? 0 : -1;
}
