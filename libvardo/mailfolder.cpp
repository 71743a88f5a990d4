#include "libvardo/mailfolder.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace vardo {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t pieceSize = 1 << 20;
constexpr std::size_t overlap = 4096; // more than the two lines that a message is known by
constexpr std::string_view messageStart = "From ";

struct Mark
{
    off_t at;
    std::string_view bytes;
    off_t alsoAt;
    std::string_view alsoBytes;
};
constexpr std::array storeMarks{
    Mark{0, "!BDN"sv, 8, "SM"sv},                           // Outlook
    Mark{0, "\xcf\xad\x12\xfe"sv, 4, "\xc5\xfd\x74\x6f"sv}, // Outlook Express
    Mark{0, "*mbx*\r\n"sv, 0, ""sv},                        // c-client
    Mark{0, "BABYL OPTIONS:"sv, 0, ""sv},                   // Rmail
};

std::string readAt(int file, off_t at, std::size_t size)
{
    std::string text(size, '\0');
    const ssize_t got = ::pread(file, text.data(), text.size(), at);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return text;
}

/// A line "From ...", and behind it one that is a field of a mail's head.
bool startsMessage(std::string_view text)
{
    const std::size_t end = text.find('\n');
    if (!text.starts_with(messageStart) || end == text.npos)
        return false;
    const std::string_view field = text.substr(end + 1);
    const auto isName = [](char c) { return c > ' ' && c < 0x7f && c != ':'; };
    const auto colon = std::find_if_not(field.begin(), field.end(), isName);
    return colon != field.begin() && colon != field.end() && *colon == ':';
}

/// True when a message starts within `text`, behind an empty line.
bool hasNextMessage(std::string_view text)
{
    for (std::size_t at = 0; (at = text.find(messageStart, at)) != text.npos; ++at) {
        const std::string_view before = text.substr(0, at);
        if ((before.ends_with("\n\n") || before.ends_with("\n\r\n")) && startsMessage(text.substr(at)))
            return true;
    }
    return false;
}

bool hasMark(int file)
{
    const std::string head = readAt(file, 0, 64);
    const auto has = [&head](off_t at, std::string_view bytes) {
        return std::string_view(head).substr(std::min(head.size(), std::size_t(at))).starts_with(bytes);
    };
    return std::any_of(storeMarks.begin(), storeMarks.end(), [&has](const Mark& mark) {
        return has(mark.at, mark.bytes) && has(mark.alsoAt, mark.alsoBytes);
    });
}

} // namespace

bool isMailFolder(int file, const quarantine::Beat& beat)
{
    constexpr mode_t executable = S_IXUSR | S_IXGRP | S_IXOTH;
    struct stat status = {};
    if (::fstat(file, &status) != 0 || (status.st_mode & executable))
        return false;
    if (hasMark(file))
        return true;
    if (!startsMessage(readAt(file, 0, overlap)))
        return false;
    for (off_t at = 0; at < status.st_size; at += static_cast<off_t>(pieceSize - overlap)) {
        if (hasNextMessage(readAt(file, at, pieceSize)))
            return true;
        if (!beat())
            return false;
    }
    return false;
}

} // namespace vardo
