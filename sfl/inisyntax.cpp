#include "sfl/inisyntax.h"

#include <algorithm>
#include <cctype>

#include <unistd.h>

namespace sfl {

namespace {

constexpr char ctrlZ = '\x1a';
constexpr std::size_t tabWidth = 8;

/// Value of `name` in the environment whose names are put into capitals; of equal names the later counts.
std::string environmentValue(std::string_view name)
{
    const auto capital = [](char c) { return std::toupper(static_cast<unsigned char>(c)); };
    std::string value;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos &&
            std::equal(name.begin(), name.end(), text.begin(), text.begin() + static_cast<long>(equals),
                       [&](char wanted, char c) { return static_cast<unsigned char>(wanted) == capital(c); }))
            value = text.substr(equals + 1);
    }
    return value;
}

/// Where the value that begins with a quote ends: behind the first further quote without a backslash
/// just ahead of it.
std::size_t quotedEnd(std::string_view value)
{
    for (std::size_t quote = value.find('"', 1); quote != std::string_view::npos;
         quote = value.find('"', quote + 1))
        if (value[quote - 1] != '\\')
            return quote + 1;
    return value.size();
}

} // namespace

std::string_view trimmedEnd(std::string_view text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

bool LineReader::next(std::string& line)
{
    line.clear();
    for (; at_ < text_.size() && text_[at_] != ctrlZ; ++at_) {
        const char c = text_[at_];
        if (c == '\n') {
            ++at_;
            return true;
        }
        if (c == '\r') {
            carriageReturn_ = true;
            continue;
        }
        if (c == '\0')
            continue; // would end a symbol's text in its midst
        if (line.size() == lineLimit)
            return true;
        if (c == '\t')
            line.append(tabWidth - line.size() % tabWidth, ' ');
        else
            line.push_back(c);
    }
    return !line.empty();
}

bool IniReader::next(IniItem& item)
{
    std::string line;
    for (item.start = lines_.position(); lines_.next(line); item.start = lines_.position()) {
        line.resize(trimmedEnd(line).size());
        line.erase(0, line.find_first_not_of(' '));
        // A line that begins with '!' is for tracing and means nothing here.
        if (line.empty() || line.find_first_of("#;!") == 0)
            continue;
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos ? takeKey(line, equals, item) : takeHeading(line, item))
            return true;
    }
    return false;
}

bool IniReader::takeHeading(const std::string& line, IniItem& item)
{
    if (line != "[]" && (line.front() != '[' || line.find_first_not_of(']', 1) == std::string::npos))
        return false;
    section_ = line.substr(1, line.find(']') - 1);
    item = {true, *section_, {}, {}, item.start};
    return true;
}

bool IniReader::takeKey(const std::string& line, std::size_t equals, IniItem& item)
{
    const std::size_t start = line.find_first_not_of(' ', equals + 1);
    std::string raw = start == std::string::npos ? "" : line.substr(start);
    if (raw.starts_with('"'))
        raw = quotedValue(std::move(raw)); // before a section too: it takes further lines along
    if (!section_)
        return false;
    item = {false, *section_, std::string(trimmedEnd(std::string_view(line).substr(0, equals))),
            std::move(raw), item.start};
    return true;
}

std::string IniReader::quotedValue(std::string value)
{
    std::string line;
    while (value.back() == '-' && value.size() < lineLimit && lines_.next(line)) {
        value.pop_back();
        value.append(trimmedEnd(line));
        if (value.size() > lineLimit)
            value.resize(lineLimit);
    }
    value.resize(quotedEnd(value));
    return value;
}

std::string headOf(LineReader& lines)
{
    std::string head;
    for (std::string line; lines.next(line);) {
        if (line == endMark)
            return head;
        head.append(line).append("\n");
    }
    return {};
}

std::string valueOf(const std::string& raw)
{
    std::string_view text = raw;
    if (!raw.starts_with('"'))
        text = trimmedEnd(text.substr(0, text.find_first_of(";#")));
    std::string value = substituted(text);
    if (!value.starts_with('"')) // which shows only now
        return value;
    value = unescaped(value);
    if (!value.empty())
        value.pop_back();
    return value.empty() ? value : value.substr(1);
}

std::string substituted(std::string_view raw)
{
    std::string result;
    for (std::size_t at = 0; at < raw.size();) {
        const std::size_t token = raw.find("$(", at);
        const std::size_t end = token == std::string_view::npos ? token : raw.find(')', token);
        if (end == std::string_view::npos)
            return result.append(raw.substr(at));
        result.append(raw.substr(at, token - at));
        result.append(environmentValue(raw.substr(token + 2, end - token - 2)));
        at = end + 1;
    }
    return result;
}

std::string unescaped(std::string_view text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 1 < text.size()) {
            ++at;
            result += text[at] == 'n' ? '\n' : text[at];
        } else {
            result += text[at];
        }
    }
    return result;
}

std::string escaped(std::string_view value)
{
    std::string result;
    for (const char c : value) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '\\' || c == '"' || c == '(')
            result += '\\';
        result += c;
    }
    return result;
}

} // namespace sfl
