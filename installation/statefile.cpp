#include "installation/statefile.h"

#include "base/plainfile.h"

#include <filesystem>

#include <fcntl.h>

namespace {

constexpr mode_t groupMode = 0664;

} // namespace

base::UniqueFd openStateFile(const char* path, int flags)
{
    const std::filesystem::path file(path);
    const std::filesystem::path directory = file.parent_path();
    const base::UniqueFd above(::open(directory.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const base::UniqueFd parent(
        ::openat(above.get(), directory.filename().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return base::openOrMakePlainFile(parent.get(), file.filename().c_str(), flags, groupMode);
}
