#include "libvardo/pathfilter.h"

#include <algorithm>

namespace vardo {

namespace {

constexpr std::string_view blanks = " \t";

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string_view trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

bool endsWithExtension(std::string_view name, std::string_view extension)
{
    if (name.size() < extension.size())
        return false;
    const std::string_view end = name.substr(name.size() - extension.size());
    return std::equal(end.begin(), end.end(), extension.begin(),
                      [](char a, char b) { return lower(a) == b; });
}

} // namespace

std::vector<std::string> splitList(std::string_view text, std::string_view dividers)
{
    std::vector<std::string> items;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(dividers), text.size());
        const std::string_view item = trimmed(text.substr(0, end));
        if (!item.empty())
            items.emplace_back(item);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return items;
}

ExtensionFilter::ExtensionFilter(Sense sense, std::string_view list)
    : sense_(sense)
{
    for (const std::string& item : splitList(list, ",; \t")) {
        const std::size_t start = item.find_first_not_of("*.");
        if (start == std::string::npos)
            continue;
        std::string extension = "." + item.substr(start);
        std::transform(extension.begin(), extension.end(), extension.begin(), lower);
        extensions_.push_back(std::move(extension));
    }
}

bool ExtensionFilter::passes(std::string_view name) const
{
    if (sense_ == Sense::All || extensions_.empty())
        return true;
    const bool listed =
        std::any_of(extensions_.begin(), extensions_.end(),
                    [name](const std::string& extension) { return endsWithExtension(name, extension); });
    return listed == (sense_ == Sense::Only);
}

void DirectoryFilter::exclude(std::string path)
{
    if (!path.starts_with('/'))
        return;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0)
        inodes_.emplace_back(status.st_dev, status.st_ino);
    paths_.push_back(std::move(path));
}

bool DirectoryFilter::excludes(std::string_view path, const struct stat& status) const
{
    return std::find(inodes_.begin(), inodes_.end(), std::pair(status.st_dev, status.st_ino)) !=
               inodes_.end() ||
           std::find(paths_.begin(), paths_.end(), path) != paths_.end();
}

} // namespace vardo
