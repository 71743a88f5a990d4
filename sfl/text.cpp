#include "sfl/text.h"

#include <array>
#include <cctype>
#include <cstring>

namespace {

bool isBlank(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

/// For each byte, how far the window moves when that byte stands just behind it.
std::array<std::size_t, 256> shiftTable(const char* needle, std::size_t length)
{
    std::array<std::size_t, 256> shift;
    shift.fill(length + 1);
    for (std::size_t i = 0; i < length; ++i)
        shift[static_cast<unsigned char>(needle[i])] = length - i;
    return shift;
}

} // namespace

char* trim(char* text)
{
    if (!text)
        return text;
    const char* first = text;
    while (isBlank(*first))
        ++first;
    std::size_t length = std::strlen(first);
    while (length > 0 && isBlank(first[length - 1]))
        --length;
    std::memmove(text, first, length);
    text[length] = '\0';
    return text;
}

// Quick search: after a mismatch the byte just behind the window tells how far to move.
char* strfind_r(char* haystack, const char* needle)
{
    if (!haystack || !needle)
        return nullptr;
    const std::size_t length = std::strlen(needle);
    const std::size_t end = std::strlen(haystack);
    const auto shift = shiftTable(needle, length);
    for (std::size_t at = 0; at + length <= end;
         at += shift[static_cast<unsigned char>(haystack[at + length])])
        if (std::memcmp(haystack + at, needle, length) == 0)
            return haystack + at;
    return nullptr;
}
