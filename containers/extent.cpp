#include "containers/extent.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace containers {

namespace {

using namespace std::literals;

constexpr std::size_t block = 512;
constexpr std::uint64_t endless = 1ull << 62;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t unit)
{
    return (value + unit - 1) / unit * unit;
}

/// A number in digits, which blanks and zero bytes may surround.
std::uint64_t digits(Content content, std::uint64_t offset, std::size_t count, int base)
{
    std::string_view text = textOf(content).substr(std::min<std::uint64_t>(offset, content.size()), count);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    std::uint64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, base);
    return std::min(value, endless);
}

bool isTarHeader(Content content, std::uint64_t at)
{
    if (at + block > content.size() || !standsAt(content, at + 257, "ustar"sv))
        return false;
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < block; ++i)
        sum += i >= 148 && i < 156 ? ' ' : std::to_integer<unsigned>(content[at + i]);
    return sum == digits(content, at + 148, 8, 8);
}

/// Behind the header; links, directories and devices have no data.
std::uint64_t lengthOfTarMember(Content content, std::uint64_t at)
{
    const char kind = textOf(content)[at + 156];
    if (kind >= '1' && kind <= '6')
        return 0;
    const bool binary = numberAt(content, at + 124, 1) & 0x80;
    std::uint64_t length = digits(content, at + 124, 12, 8);
    if (binary) {
        length = 0;
        for (unsigned i = 128; i < 136; ++i)
            length = length << 8 | numberAt(content, at + i, 1);
    }
    std::uint64_t maps = 0; // of an old sparse file, each with a flag whether one more follows
    if (kind == 'S' && numberAt(content, at + 482, 1) != 0)
        for (maps = block; numberAt(content, at + maps + 504, 1) != 0; maps += block)
            continue;
    return std::min(length, endless) + maps;
}

std::size_t behindZeros(Content content, std::uint64_t at)
{
    const auto found = textOf(content).find_first_not_of('\0', std::min<std::uint64_t>(at, content.size()));
    return found == std::string_view::npos ? content.size() : found;
}

/// How a kind of cpio archive writes its headers.
struct CpioKind
{
    std::string_view mark;
    unsigned length, sizeAt, sizeDigits, nameAt, nameDigits;
    int base;
    unsigned unit; ///< that names and members are padded to
};
constexpr CpioKind cpioKinds[] = {{"070701", 110, 54, 8, 94, 8, 16, 4},
                                  {"070702", 110, 54, 8, 94, 8, 16, 4},
                                  {"070707", 76, 65, 11, 59, 6, 8, 1}};

/// A whole header, of digits alone.
const CpioKind* cpioKind(Content content, std::uint64_t at)
{
    const auto* kind = std::find_if(std::begin(cpioKinds), std::end(cpioKinds), [&](const CpioKind& k) {
        const std::string_view digits = k.base == 8 ? "01234567"sv : "0123456789abcdefABCDEF"sv;
        const std::string_view header = textOf(content).substr(std::min(at, content.size()), k.length);
        return header.starts_with(k.mark) && header.size() == k.length &&
               header.find_first_not_of(digits) == header.npos;
    });
    return kind == std::end(cpioKinds) ? nullptr : kind;
}

} // namespace

Extent extentOfTar(Content content)
{
    std::uint64_t at = 0;
    while (isTarHeader(content, at)) {
        const auto data = at + block + lengthOfTarMember(content, at);
        if (data > content.size())
            return {true, 0};
        at = roundUp(data, block);
    }
    if (at < content.size() && content.size() - at < block)
        return {behindZeros(content, at) < content.size(), 0};
    const std::size_t next = behindZeros(content, at) / block * block;
    return {false, next > at && isTarHeader(content, next) ? next : 0};
}

Extent extentOfCpio(Content content)
{
    std::uint64_t at = 0;
    if (!cpioKind(content, at))
        return {};
    while (const CpioKind* kind = cpioKind(content, at)) {
        const auto name = digits(content, at + kind->nameAt, kind->nameDigits, kind->base);
        const auto size = digits(content, at + kind->sizeAt, kind->sizeDigits, kind->base);
        const bool last = standsAt(content, at + kind->length, "TRAILER!!!"sv);
        const auto data = roundUp(at + kind->length + name, kind->unit);
        if (data + size > content.size())
            return {true, 0};
        at = roundUp(data + size, kind->unit);
        if (last) {
            const std::size_t rest = behindZeros(content, at);
            return {false, rest < content.size() ? rest : 0};
        }
    }
    return {at >= content.size() || content.size() - at < 110, 0};
}

bool isIsoCutShort(Content content)
{
    constexpr std::uint64_t descriptor = 32768, sector = 2048;
    return numberAt(content, descriptor, 1) == 1 &&
           numberAt(content, descriptor + 80, 4) * sector > content.size();
}

} // namespace containers
