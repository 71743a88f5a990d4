#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include <unistd.h>

/// The files that an update brings: NAME.cvd as it was published, or NAME.cld with differences put in.
namespace base {

inline constexpr std::array<std::string_view, 2> databaseEndings{".cvd", ".cld"};

/// True for the names that a database may have: they go into addresses and paths as they are.
inline bool isDatabaseName(std::string_view name)
{
    return !name.empty() && name.size() <= 32 && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    });
}

/// The NAME of a file called NAME.cvd or NAME.cld; nothing for all others.
inline std::optional<std::string> databaseOf(std::string_view file)
{
    for (const std::string_view ending : databaseEndings) {
        if (file.ends_with(ending) && isDatabaseName(file.substr(0, file.size() - ending.size())))
            return std::string(file.substr(0, file.size() - ending.size()));
    }
    return {};
}

/// The version that a database's head tells: ClamAV-VDB:date:version:... The date has no colon.
inline std::optional<unsigned> databaseVersion(std::string_view head)
{
    constexpr std::string_view magic = "ClamAV-VDB:";
    const std::size_t colon = head.find(':', magic.size());
    unsigned version = 0;
    if (!head.starts_with(magic) || colon == std::string_view::npos)
        return {};
    head.remove_prefix(colon + 1);
    const auto [end, error] = std::from_chars(head.data(), head.data() + head.size(), version);
    if (error != std::errc() || end == head.data() + head.size() || *end != ':')
        return {};
    return version;
}

/// The same of an open file.
inline std::optional<unsigned> databaseVersion(int file)
{
    std::array<char, 512> head{};
    const ssize_t length = ::pread(file, head.data(), head.size(), 0);
    return length > 0 ? databaseVersion(std::string_view(head.data(), static_cast<std::size_t>(length)))
                      : std::nullopt;
}

} // namespace base
