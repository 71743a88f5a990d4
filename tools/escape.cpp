#include "tools/escape.h"

#include <cstdint>
#include <cstdio>

namespace {

/// Length of the well-formed UTF-8 sequence at the head of `text`, 0 when there is none.
std::size_t sequenceLength(std::string_view text, std::uint32_t& code)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        code = lead;
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return 0;
    code = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return length;
}

/// Characters that a terminal obeys or that turn the order of a line around.
bool steersTerminal(std::uint32_t code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E ||
           code == 0x200F || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

template <class... Values>
std::string formatted(const char* format, Values... values)
{
    char text[16];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

/// Calls `visit` with each character of `text`, as its bytes and its code, and with 0 as the length of
/// the sequence for a byte that belongs to none.
template <class Visit>
void forEachCharacter(std::string_view text, const Visit& visit)
{
    while (!text.empty()) {
        std::uint32_t code = 0;
        const std::size_t length = sequenceLength(text, code);
        visit(text.substr(0, length ? length : 1), code, length != 0);
        text.remove_prefix(length ? length : 1);
    }
}

/// Every byte of `text` as two digits.
std::string hexadecimal(std::string_view text)
{
    std::string digits;
    for (const char byte : text)
        digits += formatted("%02x", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    return digits;
}

} // namespace

std::string escapeForTerminal(std::string_view text)
{
    std::string safe;
    forEachCharacter(text, [&safe](std::string_view bytes, std::uint32_t code, bool valid) {
        if (valid && !steersTerminal(code)) {
            safe += bytes == "\\" ? "\\\\" : bytes;
            return;
        }
        for (const char byte : bytes)
            safe += formatted("\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
    });
    return safe;
}

std::string jsonString(std::string_view text)
{
    std::string json = "\"";
    forEachCharacter(text, [&json](std::string_view bytes, std::uint32_t code, bool valid) {
        if (!valid)
            json += "\\ufffd";
        else if (code == '"' || code == '\\')
            json.append("\\").append(bytes);
        else if (code < 0x10000 && steersTerminal(code))
            json += formatted("\\u%04x", code);
        else
            json += bytes;
    });
    return json + "\"";
}

bool isUtf8(std::string_view text)
{
    bool all = true;
    forEachCharacter(text, [&all](std::string_view, std::uint32_t, bool valid) { all = all && valid; });
    return all;
}

std::string jsonMember(const std::string& key, std::string_view text)
{
    const std::string member = ",\"" + key + "\":" + jsonString(text);
    return isUtf8(text) ? member : member + ",\"" + key + "_bytes\":\"" + hexadecimal(text) + "\"";
}
