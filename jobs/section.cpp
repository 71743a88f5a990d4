#include "jobs/section.h"

#include "sfl/inisyntax.h"

#include <charconv>

namespace jobs {

namespace {

constexpr std::size_t longestLine = 1022; // what reads the file in pieces never cuts one
constexpr std::size_t longestPiece = 900; // of a path, with its escapes: the key stands before it

struct Word
{
    std::string_view text;
    unsigned value;
};

constexpr Word frequencies[] = {{"once", FREQ_ONCE},
                                {"hourly", FREQ_HOURLY},
                                {"daily", FREQ_DAILY},
                                {"weekly", FREQ_WEEKLY},
                                {"monthly", FREQ_MONTHLY}};

constexpr Word actions[] = {{"log", SCANACT_LOG},
                            {"delete", SCANACT_DELETE},
                            {"rename", SCANACT_RENAME},
                            {"quarantine", SCANACT_QUARANTINE},
                            {"prompt", SCANACT_PROMPT}};

constexpr Word options[] = {{"no-disinfect", SCANFLAG_NO_DISINFECT},
                            {"disinfect", SCANFLAG_DISINFECT},
                            {"no-recursive", SCANFLAG_NO_RECURSE},
                            {"follow-links", SCANFLAG_FOLLOW_SYMLINKS},
                            {"cross-fs", SCANFLAG_CROSS_FS},
                            {"no-packed", SCANFLAG_NO_PACKED},
                            {"no-archives", SCANFLAG_NO_ARCHIVES},
                            {"no-mails", SCANFLAG_NO_MAILS},
                            {"no-heuristics", SCANFLAG_NO_HEURISTIC},
                            {"only-extensions", SCANFLAG_INCLUDE_EXTENSIONS},
                            {"skip-extensions", SCANFLAG_EXCLUDE_EXTENSIONS},
                            {"skip-dirs", SCANFLAG_EXCLUDE_DIRS},
                            {"limit-depth", SCANFLAG_MAX_DEPTH},
                            {"limit-size", SCANFLAG_MAX_SIZE}};

struct NumberKey
{
    const char* key;
    unsigned char Job::*field;
    unsigned char most; ///< of what is read: whoever shows a weekday by its number relies on it
};

constexpr NumberKey numberKeys[] = {{"Month", &Job::month, 255},
                                    {"Day", &Job::monthDay, 255},
                                    {"WeekDay", &Job::weekDay, 6},
                                    {"Hour", &Job::hour, 255},
                                    {"Minute", &Job::minute, 255}};

constexpr char frequencyKey[] = "Frequency";
constexpr char yearKey[] = "Year";
constexpr char actionKey[] = "Action";
constexpr char optionsKey[] = "Options";
constexpr std::string_view objectKey = "Object";
constexpr int mostYear = 9999;
constexpr char escape = '%';

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f;
}

void appendEscaped(std::string& text, char c)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    text += escape;
    text += digits[byte >> 4];
    text += digits[byte & 15];
}

/// The byte that two hexadecimal digits in capitals stand for.
std::optional<char> escapedByte(std::string_view digits)
{
    if (digits.size() < 2 || digits.substr(0, 2).find_first_of("abcdef") != std::string_view::npos)
        return {};
    unsigned byte = 0;
    const char* end = digits.data() + 2;
    return std::from_chars(digits.data(), end, byte, 16).ptr == end && byte != 0
               ? std::optional(static_cast<char>(byte))
               : std::nullopt;
}

std::string withoutEscapes(std::string_view text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::optional<char> byte = text[at] == escape ? escapedByte(text.substr(at + 1)) : std::nullopt;
        plain += byte.value_or(text[at]);
        at += byte ? 2 : 0;
    }
    return plain;
}

std::optional<unsigned> numberOf(std::string_view text, unsigned most)
{
    unsigned number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number <= most ? std::optional(number) : std::nullopt;
}

std::string_view valueIn(const Values& values, std::string_view key)
{
    const auto found = values.find(key);
    return found == values.end() ? std::string_view() : std::string_view(found->second);
}

template <std::size_t count>
std::optional<unsigned> wordIn(const Word (&words)[count], std::string_view text, unsigned most)
{
    for (const Word& word : words)
        if (word.text == text)
            return word.value;
    return numberOf(text, most);
}

template <std::size_t count>
std::string wordFor(const Word (&words)[count], unsigned value)
{
    for (const Word& word : words)
        if (word.value == value)
            return std::string(word.text);
    return std::to_string(value);
}

unsigned flagsIn(std::string_view list)
{
    constexpr std::string_view dividers = ", ";
    unsigned flags = 0;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find_first_of(dividers), list.size());
        for (const Word& option : options)
            flags |= option.text == list.substr(0, end) ? option.value : 0;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return flags;
}

std::string listOf(unsigned flags)
{
    std::string list;
    for (const Word& option : options)
        if (flags & option.value)
            list.append(list.empty() ? "" : ", ").append(option.text);
    return list;
}

/// The number of an object and of a piece of it, from 1 on: "Object3" holds the first piece of the third one
/// and "Object3.2" the second.
using Piece = std::pair<unsigned, unsigned>;

std::optional<Piece> pieceOf(std::string_view key)
{
    constexpr unsigned most = 1'000'000;
    if (!key.starts_with(objectKey))
        return {};
    key.remove_prefix(objectKey.size());
    const std::size_t point = key.find('.');
    const auto object = numberOf(key.substr(0, point), most);
    const auto piece = point == std::string_view::npos ? 1 : numberOf(key.substr(point + 1), most);
    return object && piece ? std::optional(Piece(*object, *piece)) : std::nullopt;
}

std::vector<std::string> objectsIn(const Values& values)
{
    std::map<Piece, std::string_view> pieces;
    for (const auto& [key, value] : values)
        if (const std::optional<Piece> piece = pieceOf(key))
            pieces[*piece] = value;
    std::map<unsigned, std::string> whole;
    for (const auto& [piece, text] : pieces)
        whole[piece.first].append(text);
    std::vector<std::string> objects;
    for (const auto& [number, text] : whole)
        objects.push_back(withoutEscapes(text));
    return objects;
}

void appendLine(std::string& text, std::string_view key, std::string_view value)
{
    text.append("    ").append(key).append(" = \"").append(sfl::escaped(value)).append("\"\n");
}

void appendObject(std::string& text, std::size_t number, std::string_view path)
{
    const std::string key = std::string(objectKey) + std::to_string(number);
    std::string piece;
    std::size_t pieces = 0;
    const auto finish = [&] {
        ++pieces;
        appendLine(text, pieces == 1 ? key : key + "." + std::to_string(pieces), piece);
        piece.clear();
    };
    for (const char c : path) {
        if (isControl(c) || c == escape)
            appendEscaped(piece, c);
        else
            piece += c;
        if (2 * piece.size() > longestPiece && sfl::escaped(piece).size() > longestPiece)
            finish();
    }
    if (!piece.empty() || pieces == 0)
        finish();
}

} // namespace

std::string sectionOf(std::string_view name)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    std::string section;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const bool innerBlank = c == ' ' && i > 0 && i + 1 < name.size();
        if (innerBlank || static_cast<unsigned char>(c) > 127 || plain.find(c) != std::string_view::npos)
            section += c;
        else
            appendEscaped(section, c);
    }
    return section;
}

std::string nameOf(std::string_view section)
{
    return withoutEscapes(section);
}

std::optional<Job> jobOf(std::string_view section, const Values& values)
{
    const auto frequency = wordIn(frequencies, valueIn(values, frequencyKey), 255);
    Job job;
    job.objects = objectsIn(values);
    if (!frequency || job.objects.empty())
        return {};
    job.name = nameOf(section);
    job.frequency = static_cast<unsigned char>(*frequency);
    job.year = static_cast<int>(numberOf(valueIn(values, yearKey), mostYear).value_or(0));
    for (const NumberKey& number : numberKeys)
        job.*number.field = static_cast<unsigned char>(
            numberOf(valueIn(values, number.key), number.most).value_or(job.*number.field));
    job.action = wordIn(actions, valueIn(values, actionKey), SCANACT_PROMPT).value_or(job.action);
    job.flags = values.contains(optionsKey) ? flagsIn(valueIn(values, optionsKey)) : job.flags;
    return job;
}

std::optional<std::string> sectionText(const Job& job)
{
    std::string text = "[" + sectionOf(job.name) + "]\n";
    if (text.size() > longestLine)
        return {};
    appendLine(text, frequencyKey, wordFor(frequencies, job.frequency));
    if (job.year != 0)
        appendLine(text, yearKey, std::to_string(job.year));
    for (const NumberKey& number : numberKeys)
        appendLine(text, number.key, std::to_string(job.*number.field));
    appendLine(text, actionKey, wordFor(actions, job.action));
    appendLine(text, optionsKey, listOf(job.flags));
    for (std::size_t i = 0; i < job.objects.size(); ++i)
        appendObject(text, i + 1, job.objects[i]);
    return text + "\n";
}

} // namespace jobs
