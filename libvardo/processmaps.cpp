#include "libvardo/processmaps.h"

#include "base/systemerror.h"
#include "base/uniquefd.h"

#include <charconv>
#include <cstdio>

#include <fcntl.h>
#include <sys/sysmacros.h>

namespace vardo {

namespace {

/// Takes the number at the head of `text`, and the character `after` it, off.
template <class Number>
bool takeNumber(std::string_view& text, Number& value, int base, char after)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop == end || *stop != after)
        return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + 1);
    return true;
}

base::Result<std::string> readWhole(int directory, const char* name)
{
    const base::UniqueFd file(::openat(directory, name, O_RDONLY | O_CLOEXEC));
    if (!file)
        return base::systemError();
    std::string text;
    char piece[16 * 1024];
    for (;;) {
        const ssize_t size = ::read(file.get(), piece, sizeof piece);
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0)
            return base::systemError();
        if (size == 0)
            return text;
        text.append(piece, static_cast<std::size_t>(size));
    }
}

} // namespace

// START-END PERMISSIONS OFFSET MAJOR:MINOR INODE      PATH
bool parseCodeMapping(std::string_view line, CodeMapping& mapping)
{
    unsigned int major = 0;
    unsigned int minor = 0;
    std::uint64_t offset = 0;
    std::string_view rest = line;
    if (!takeNumber(rest, mapping.start, 16, '-') || !takeNumber(rest, mapping.end, 16, ' ') ||
        mapping.end <= mapping.start || rest.size() < 5 || rest[2] != 'x')
        return false;
    rest.remove_prefix(5);
    std::string ended(rest); // the inode ends the line when there is no path
    ended += ' ';
    rest = ended;
    if (!takeNumber(rest, offset, 16, ' ') || !takeNumber(rest, major, 16, ':') ||
        !takeNumber(rest, minor, 16, ' ') || !takeNumber(rest, mapping.inode, 10, ' '))
        return false;
    rest.remove_suffix(rest.empty() ? 0 : 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    mapping.device = makedev(major, minor);
    mapping.path = rest;
    return mapping.path != "[vdso]" && mapping.path != "[vsyscall]" && mapping.path != "[uprobes]";
}

base::Result<std::vector<CodeMapping>> readCodeMappings(int process)
{
    const base::Result<std::string> text = readWhole(process, "maps");
    if (!text)
        return text.error();
    std::vector<CodeMapping> mappings;
    std::string_view rest = text.value();
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        CodeMapping mapping;
        if (parseCodeMapping(rest.substr(0, end), mapping))
            mappings.push_back(std::move(mapping));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return mappings;
}

std::string printable(std::string_view text)
{
    std::string safe;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            safe += c;
            continue;
        }
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02X", byte);
        safe += code;
    }
    return safe;
}

} // namespace vardo
