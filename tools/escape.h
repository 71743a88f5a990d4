#pragma once

#include <string>
#include <string_view>

/// `text` for a terminal: control characters and bytes that are not UTF-8 come as \xHH and a backslash
/// as \\, so that no name can steer the terminal or pass for another line.
std::string escapeForTerminal(std::string_view text);

/// `text` as a JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

/// `,"key":VALUE` for the middle of a JSON object. A text that is not UTF-8 has its bytes, in hexadecimal
/// digits, in a second member "key_bytes".
std::string jsonMember(const std::string& key, std::string_view text);

/// True when `text` is well-formed UTF-8.
bool isUtf8(std::string_view text);
