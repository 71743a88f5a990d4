#include "libvardo/options.h"

#include "libvardo/conffile.h"
#include "libvardo/ownedtext.h"

#include <algorithm>
#include <cstring>

namespace vardo {

namespace {

template <class T>
void give(const Number<T>& number, void* value)
{
    *static_cast<T*>(value) = *number.field;
}

void give(const HeapText& text, void* value)
{
    char* buffer = static_cast<char*>(value);
    buffer[0] = '\0';
    std::strncat(buffer, *text.field ? *text.field : "", text.most);
}

void give(const BufferText& text, void* value)
{
    char* buffer = static_cast<char*>(value);
    buffer[0] = '\0';
    std::strncat(buffer, text.field, text.size - 1);
}

void give(const TextPointer& text, void* value)
{
    *static_cast<char**>(value) = *text.field;
}

template <class T>
bool take(const Number<T>& number, const void* value)
{
    const T wanted = *static_cast<const T*>(value);
    const bool valid = number.least <= wanted && wanted <= number.most && (wanted & ~number.mask) == 0;
    if (valid)
        *number.field = wanted;
    return valid;
}

bool take(const HeapText& text, const void* value)
{
    const char* wanted = static_cast<const char*>(value);
    return text.kind != HeapText::Kind::GivenOnly && ::strnlen(wanted, text.most + 1) <= text.most &&
           (text.kind != HeapText::Kind::AbsolutePath || wanted[0] == '/') && isStorable(wanted) &&
           assignText(*text.field, wanted);
}

bool take(const BufferText& text, const void* value)
{
    const char* wanted = static_cast<const char*>(value);
    const std::size_t length = ::strnlen(wanted, text.size);
    if (length >= text.size || !isStorable({wanted, length}))
        return false;
    std::memset(text.field, 0, text.size);
    std::memcpy(text.field, wanted, length);
    return true;
}

bool take(const TextPointer& text, const void* value)
{
    const char* wanted = *static_cast<char* const*>(value);
    return (!wanted || isStorable(wanted)) && assignText(*text.field, wanted);
}

const Option* findOption(const std::vector<Option>& options, unsigned id)
{
    const auto found =
        std::find_if(options.begin(), options.end(), [id](const Option& option) { return option.id == id; });
    return found == options.end() ? nullptr : &*found;
}

} // namespace

int giveOption(const std::vector<Option>& options, unsigned id, void* value)
{
    const Option* option = value ? findOption(options, id) : nullptr;
    if (!option)
        return -1;
    std::visit([value](const auto& place) { give(place, value); }, option->place);
    return 0;
}

int takeOption(const std::vector<Option>& options, unsigned id, const void* value)
{
    const Option* option = value ? findOption(options, id) : nullptr;
    const bool taken =
        option && std::visit([value](const auto& place) { return take(place, value); }, option->place);
    return taken ? 0 : -1;
}

} // namespace vardo
