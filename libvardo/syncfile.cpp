#include "libvardo/syncfile.h"

#include "base/systemerror.h"
#include "base/uniquefd.h"
#include "libvardo/threadsignals.h"

#include <chrono>
#include <future>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace vardo {

base::Result<bool> syncFile(int file, const quarantine::Beat& beat)
{
    base::UniqueFd own(::fcntl(file, F_DUPFD_CLOEXEC, 0));
    if (!own)
        return base::systemError();
    std::packaged_task<int()> sync([fd = std::move(own)] {
        leaveSignalsToOthers();
        return ::fsync(fd.get()) == 0 ? 0 : errno;
    });
    std::future<int> done = sync.get_future();
    std::thread(std::move(sync)).detach();
    while (done.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
        if (!beat())
            return base::systemError(ECANCELED);
    }
    const int code = done.get();
    return code == 0 ? base::Result<bool>(true) : base::systemError(code);
}

} // namespace vardo
