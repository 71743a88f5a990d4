#include "tools/runasroot/crontab.h"

#include "tools/runasroot/fileactions.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>

namespace runasroot {

namespace {

constexpr std::string_view command =
    " * * * /opt/Quillstone/sbin/runasroot  /opt/Quillstone/usr/bin/updatenow 2>&1 "
    "|tee -a /var/Quillstone/var/log/autoupdate.log\n";

/// Takes a number of 0 to `most` off the front of `text`.
bool takeNumber(std::string_view& text, unsigned most)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most)
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

base::Result<std::string> readChecked(int file, const char* path)
{
    std::array<char, 512> buffer; // more than the longest text that is accepted
    const ssize_t length = ::read(file, buffer.data(), buffer.size());
    if (length < 0)
        return base::Error{errno, std::string(path) + ": cannot be read"};
    std::string text(buffer.data(), static_cast<std::size_t>(length));
    if (!isUpdateCrontab(text))
        return base::Error{EPERM, std::string(path) + ": not the crontab of the automatic update"};
    return text;
}

} // namespace

bool isUpdateCrontab(std::string_view text)
{
    if (text.empty())
        return true;
    if (!takeNumber(text, 59) || !text.starts_with(' '))
        return false;
    text.remove_prefix(1);
    return takeNumber(text, 23) && text == command;
}

base::Result<std::string> readUpdateCrontab(const char* path)
{
    const auto file = openPlainFile(path);
    return file ? readChecked(file.value().get(), path) : file.error();
}

base::Result<bool> giveUpdateCrontab(const char* path, uid_t user, gid_t group)
{
    const auto file = openPlainFile(path);
    if (!file)
        return file.error();
    if (const auto text = readChecked(file.value().get(), path); !text)
        return text.error();
    if (::fchown(file.value().get(), user, group) != 0)
        return base::Error{errno, std::string(path) + ": cannot be given away"};
    return true;
}

} // namespace runasroot
