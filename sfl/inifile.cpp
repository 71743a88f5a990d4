#include "sfl/inifile.h"

#include "base/plainfile.h"
#include "sfl/inisyntax.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
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
std::string readText(const char* path)
{
    const base::UniqueFd file(::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    std::string text;
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return text;
    std::array<char, 16'384> piece;
    for (ssize_t count; (count = ::read(file.get(), piece.data(), piece.size())) != 0;) {
        if (count > 0)
            text.append(piece.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            break;
    }
    return text;
}

/// Puts `text` into the file in place of its content. A FIFO that nobody reads is an error, not a wait.
bool writeText(const char* path, std::string_view text)
{
    const base::UniqueFd file(
        ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
    return file && base::writeAll(file.get(), text);
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

/// The value as a line can carry it: what goes beyond the reader's buffer is left out, and so are the
/// characters that no line holds and that would change the reading of others.
std::string quoted(std::string_view value)
{
    std::string raw = "\"";
    for (const char c : value) {
        const bool lost = c == '\t' || c == '\r' || c == '\x1a';
        const std::string piece = sfl::escaped(lost ? " " : std::string_view(&c, 1));
        if (raw.size() + piece.size() + 1 > sfl::lineLimit)
            break;
        raw += piece;
    }
    return raw + '"';
}

/// Appends the line of a key, or two where the reader would cut one.
void appendKey(std::string& text, std::string_view keyword, std::string_view value)
{
    const std::string start = "    " + std::string(keyword) + " = ";
    if (start.size() + 2 > sfl::lineLimit)
        return;
    const std::size_t room = sfl::lineLimit - start.size();
    std::string raw = quoted(value);
    if (raw.size() > room)
        raw.insert(room - 1, "-\n");
    text.append(start).append(raw).append("\n");
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
        appendKey(text, name.substr(colon + 1), symbol->value);
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
    const std::string text = readText(path.c_str());
    sfl::IniReader reader(text);
    for (sfl::IniItem item; reader.next(item);) {
        if (item.heading)
            assume(table, item.section, "");
        else
            assume(table, item.section + ":" + item.keyword, sfl::valueOf(item.raw));
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
