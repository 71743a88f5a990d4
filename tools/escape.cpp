#include "tools/escape.h"

#include "base/character.h"

#include <cstdio>

namespace {

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
        const std::size_t length = base::sequenceLength(text, code);
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
        if (valid && !base::steersTerminal(code)) {
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
        else if (code < 0x10000 && base::steersTerminal(code))
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
