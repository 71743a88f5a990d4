#include "quarantine/directorylist.h"

#include "base/uniquefd.h"

#include <algorithm>
#include <memory>

#include <dirent.h>
#include <fcntl.h>

namespace quarantine {

std::vector<std::string> listDirectory(int directory)
{
    // A descriptor of its own, whose position is nobody else's.
    base::UniqueFd own(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(own ? ::fdopendir(own.get()) : nullptr, ::closedir);
    if (!stream)
        return {};
    (void)!own.release(); // the stream's by now
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(stream.get()))
        names.emplace_back(entry->d_name);
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace quarantine
