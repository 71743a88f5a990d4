#include "mainwindow/firstline.h"

#include <algorithm>

std::optional<QString> firstLine(const char* path, Links links)
{
    constexpr std::size_t limit = 19;
    const std::optional<std::string> content = readSmallFile(path, links);
    if (!content)
        return std::nullopt;
    const std::size_t length = std::min(limit, content->find('\n'));
    return QString::fromUtf8(content->substr(0, length).c_str());
}
