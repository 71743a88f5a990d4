#pragma once

#include <cstdlib>
#include <cstring>

/// For the texts that the boundary holds as plain pointers, made and freed with malloc and free.
namespace vardo {

/// A heap copy of `text`, null for null or when out of memory.
inline char* ownedText(const char* text)
{
    return text ? ::strdup(text) : nullptr;
}

/// Puts a copy of `text` (or null) in the place of `held`. False when out of memory.
inline bool assignText(char*& held, const char* text)
{
    char* copy = ownedText(text);
    if (text && !copy)
        return false;
    std::free(held);
    held = copy;
    return true;
}

} // namespace vardo
