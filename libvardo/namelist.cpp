#include "libvardo/namelist.h"

#include "base/systemerror.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <dirent.h>

namespace vardo {

base::Result<NameList> NameList::read(base::UniqueFd directory, const std::atomic<bool>& stop,
                                      CallWatch& watch)
{
    struct Close
    {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };
    const std::unique_ptr<DIR, Close> stream(::fdopendir(directory.get()));
    if (!stream)
        return base::systemError();
    static_cast<void>(directory.release()); // the stream closes it

    NameList list;
    errno = 0;
    while (!stop) {
        const dirent* entry = watch.run([&stream] { return ::readdir(stream.get()); });
        if (!entry)
            break;
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        list.offsets_.push_back(list.text_.size());
        list.text_.append(entry->d_name, std::strlen(entry->d_name) + 1);
    }
    if (!stop && errno != 0)
        return base::systemError();
    const char* text = list.text_.c_str();
    std::sort(list.offsets_.begin(), list.offsets_.end(),
              [text](std::size_t a, std::size_t b) { return std::strcmp(text + a, text + b) < 0; });
    return list;
}

} // namespace vardo
