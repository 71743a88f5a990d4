#include "libvardo/conffile.h"

#include "base/replacefile.h"
#include "base/rootsway.h"
#include "sfl/inisyntax.h"
#include "sfl/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <limits>
#include <sstream>

#include <strings.h>
#include <unistd.h>

namespace vardo {

namespace {

constexpr std::size_t largestFile = 1 << 20;

/// A plain value without the comment behind it.
std::string_view withoutComment(std::string_view raw)
{
    for (std::size_t mark = raw.find_first_of(";#"); mark != std::string_view::npos;
         mark = raw.find_first_of(";#", mark + 1))
        if (mark == 0 || raw[mark - 1] == ' ')
            return sfl::trimmedEnd(raw.substr(0, mark));
    return raw;
}

/// The value that `raw` stands for.
std::string decoded(std::string_view raw)
{
    const std::string value =
        sfl::unescaped(sfl::substituted(raw.starts_with('"') ? raw : withoutComment(raw)));
    if (!raw.starts_with('"'))
        return value;
    return value.size() < 2 ? "" : value.substr(1, value.size() - 2);
}

/// A number that is too small or too large counts as the least or the largest.
std::optional<unsigned long> parsedNumber(std::string_view text)
{
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative);
    unsigned long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::invalid_argument || end != text.data() + text.size())
        return {};
    if (error == std::errc::result_out_of_range)
        number = std::numeric_limits<unsigned long>::max();
    return negative ? 0 : number;
}

bool equalsIgnoringCase(const std::string& a, const char* b)
{
    return ::strcasecmp(a.c_str(), b) == 0;
}

} // namespace

base::Result<ConfFile> ConfFile::load(const std::string& path)
{
    struct stat status = {};
    const base::Result<std::string> text = base::readRegularFile(path, largestFile, status);
    if (!text)
        return text.error();
    ConfFile file;
    file.path_ = path;
    std::error_code failed;
    const std::string whole = std::filesystem::absolute(path, failed);
    file.foreign_ = ::geteuid() == 0 && !base::isRootsFile(whole, status);
    sfl::LineReader lines(text.value());
    file.head_ = sfl::headOf(lines);
    sfl::IniReader reader(text.value());
    for (sfl::IniItem item; reader.next(item);)
        if (!item.heading)
            file.raw_[item.section + ":" + item.keyword] = item.raw;
    return file;
}

std::optional<ConfFile> ConfFile::read(const std::string& path)
{
    base::Result<ConfFile> file = load(path);
    return file ? std::optional(std::move(file).value()) : std::nullopt;
}

std::optional<ConfFile> ConfFile::readOrNew(const std::string& path)
{
    base::Result<ConfFile> file = load(path);
    if (file)
        return std::move(file).value();
    return file.error().code == ENOENT ? std::optional(ConfFile()) : std::nullopt;
}

std::optional<std::string> ConfFile::text(std::string_view key) const
{
    const auto found = raw_.find(key);
    return found == raw_.end() ? std::nullopt : std::optional(decoded(found->second));
}

std::string ConfFile::path(std::string_view key, const char* fallback) const
{
    std::optional<std::string> value = text(key);
    return value && value->starts_with('/') ? *std::move(value) : fallback;
}

std::string ConfFile::safePath(std::string_view key, const char* fallback, Refusals* refusals) const
{
    std::string value = path(key, fallback);
    if (!foreign_ || value == fallback)
        return value;
    if (refusals)
        refusals->push_back(refusal(key, fallback));
    return fallback;
}

std::string ConfFile::refusal(std::string_view key, std::string_view instead) const
{
    return std::string(key.substr(key.find(':') + 1)) + " = " + text(key).value_or("") + " in " + path_ +
           " does not count for root, since others could have written it; taken instead: " +
           std::string(instead);
}

bool ConfFile::flag(std::string_view key, bool fallback) const
{
    static constexpr ConfWord words[] = {{"yes", 1},  {"no", 0},    {"on", 1},   {"off", 0},
                                         {"true", 1}, {"false", 0}, {nullptr, 0}};
    return word(key, words, fallback) != 0;
}

unsigned long ConfFile::number(std::string_view key, unsigned long least, unsigned long most,
                               unsigned long fallback) const
{
    const std::optional<std::string> value = text(key);
    const std::optional<unsigned long> number = value ? parsedNumber(*value) : std::nullopt;
    return number ? std::clamp(*number, least, most) : fallback;
}

unsigned ConfFile::word(std::string_view key, const ConfWord* words, unsigned fallback) const
{
    const std::optional<std::string> value = text(key);
    for (; value && words->text; ++words)
        if (equalsIgnoringCase(*value, words->text) || *value == std::to_string(words->value))
            return words->value;
    return fallback;
}

void ConfFile::set(const std::string& key, std::string_view value)
{
    raw_[key] = "\"" + sfl::escaped(value) + "\"";
}

void ConfFile::setWord(const std::string& key, const ConfWord* words, unsigned value)
{
    while (words->text && words->value != value)
        ++words;
    set(key, words->text ? words->text : std::to_string(value));
}

bool ConfFile::save(const std::string& path) const
{
    std::string out = head_ + std::string(sfl::endMark) + "\n";
    std::optional<std::string_view> section;
    for (const auto& [key, raw] : raw_) {
        const std::size_t colon = key.rfind(':');
        if (section != std::string_view(key).substr(0, colon)) {
            section = std::string_view(key).substr(0, colon);
            out.append("\n[").append(*section).append("]\n");
        }
        const std::string line = "    " + key.substr(colon + 1) + " = " + raw;
        if (line.size() > longestLine)
            return false;
        out.append(line).append("\n");
    }
    return base::replaceFile(path, out);
}

std::string withoutQuotes(const std::string& text)
{
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        std::string_view whole = trim(line.data());
        const std::size_t equals = whole.find('=');
        if (equals != std::string_view::npos && equals > 0) {
            std::string value(whole.substr(equals + 1));
            std::string_view inner = trim(value.data());
            inner.remove_prefix(std::min(inner.find_first_not_of('"'), inner.size()));
            inner = inner.substr(0, inner.find_last_not_of('"') + 1);
            result.append(whole.substr(0, equals + 1)).append(inner).append("\n");
        } else {
            result.append(whole).append("\n");
        }
    }
    return result;
}

bool isStorable(std::string_view text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != 0x7f; });
}

} // namespace vardo
