#include "mainwindow/firstline.h"

#include "shell/smallfile.h"

#include <algorithm>

std::optional<QString> firstLine(const char* path)
{
    constexpr std::size_t limit = 19;
    const std::optional<std::string> content = readSmallFile(path, Links::Refuse);
    if (!content)
        return std::nullopt;
    const std::size_t length = std::min(limit, content->find('\n'));
    return QString::fromUtf8(content->substr(0, length).c_str());
}
