#include "containers/memberdata.h"

#include <fcntl.h>
#include <unistd.h>

namespace containers {

namespace {

constexpr std::size_t mostInMemory = 4u << 20;

bool writeAll(int file, Content bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

bool MemberData::append(Content bytes)
{
    size_ += bytes.size();
    if (!file_ && size_ <= mostInMemory) {
        memory_.insert(memory_.end(), bytes.begin(), bytes.end());
        return true;
    }
    return (file_ || spill()) && writeAll(file_.get(), bytes);
}

bool MemberData::spill()
{
    const std::string path = directory_ + "/member";
    file_.reset(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file_ || unlink(path.c_str()) != 0 || !writeAll(file_.get(), memory_))
        return false;
    memory_ = {};
    return true;
}

} // namespace containers
