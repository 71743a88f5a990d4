#include "engine/interface.h"
#include "libvardo/servicelink.h"
#include "libvardo/servicesession.h"
#include "protocol/updatemessage.h"
#include "tests/fuzz/messages.h"

#include <atomic>
#include <cstddef>
#include <semaphore>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <time.h>

// libFuzzer target: a client's session with files under way hears the input from its service and from workers
// that were taken over; and the lines of an update come from a process that was. Stops when a file has two
// verdicts, one that there is not, or none that was handed over.

namespace vardo {

/// There is no service to go back to.
base::Result<ServiceLink> beginSession(const ServicePaths&, const qsavd::Begin&, const std::function<bool()>&)
{
    return base::Error{ECONNREFUSED, "none"};
}

} // namespace vardo

extern "C" int nanosleep(const timespec*, timespec*)
{
    return 0; // nobody is waited for
}

namespace {

constexpr std::uint64_t files = 5;

void checkLines(std::string_view input)
{
    update::MessageReader reader;
    reader.add(input);
    while (const auto message = reader.next()) {
        const std::string line = update::toLine(*message);
        demand(line.find('\n') == line.size() - 1, "a line with a line end");
        const auto again = update::fromLine(std::string_view(line).substr(0, line.size() - 1));
        demand(again && again->code == message->code && again->first == message->first &&
                   again->second == message->second,
               "message");
    }
}

/// What the session has told.
struct Told
{
    std::set<std::uint64_t> ids;
    std::binary_semaphore lost{0};
};

void checkVerdict(const vardo::Verdict& verdict)
{
    demand((verdict.status & (SCANSTAT_CLEAN | SCANSTAT_INFECTED | SCANSTAT_SUSPECTED | SCANSTAT_ENCRYPTED |
                              SCANSTAT_CORRUPT | SCANSTAT_ERROR)) != 0 &&
               verdict.virus.size() + verdict.inner.size() + verdict.remark.size() < qsavd::maxMessage,
           "no verdict");
}

vardo::ScanSession::Handlers handlersOf(Told& told)
{
    vardo::ScanSession::Handlers handlers;
    handlers.done = [&told](std::uint64_t id, const vardo::Verdict& verdict) {
        demand(id < files && told.ids.insert(id).second, "a verdict on nothing, or a second one");
        checkVerdict(verdict);
    };
    handlers.lost = [&told](const std::string&) { told.lost.release(); };
    return handlers;
}

/// One worker alone, which is given files as soon as it is ready.
void checkWorker(std::span<const std::uint8_t> input, int file)
{
    Ends ends;
    forEachMessage(input, [&](unsigned who, std::span<const std::byte> bytes) {
        if (who & 0x80)
            qsavd::sendMessage(ends.ours.get(), bytes, {}, MSG_DONTWAIT);
    });
    vardo::WorkerLink link(0, std::move(ends.theirs));
    std::uint64_t next = 0;
    for (;;) {
        std::uint64_t id = 0;
        vardo::Verdict verdict;
        switch (link.receive(id, verdict)) {
        case vardo::WorkerLink::Event::Ready:
            demand(link.send({{0, file}, {1, file}, {2, file}}) == 0, "not sent");
            break;
        case vardo::WorkerLink::Event::Finished:
            demand(id == next++ && id < 3, "a verdict on nothing, or out of order");
            checkVerdict(verdict);
            break;
        default:
            return;
        }
    }
}

/// Workers say what is theirs as soon as they are there; the service introduces them.
void send(const Ends& control, std::span<const std::uint8_t> input)
{
    const Ends worker;
    forEachMessage(input, [&](unsigned who, std::span<const std::byte> bytes) {
        if (who & 0x80)
            qsavd::sendMessage(worker.ours.get(), bytes, {}, MSG_DONTWAIT);
    });
    forEachMessage(input, [&](unsigned who, std::span<const std::byte> bytes) {
        const int fds[] = {worker.theirs.get(), worker.theirs.get()};
        if (!(who & 0x80))
            qsavd::sendMessage(control.ours.get(), bytes, std::span(fds).first(who % 3), MSG_DONTWAIT);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    checkLines({reinterpret_cast<const char*>(data), size});
    checkWorker({data, size}, file);
    Told told;
    Ends control;
    send(control, {data, size});
    const base::UniqueFd wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    {
        vardo::ServiceSession session({}, {}, std::move(control.theirs),
                                      base::UniqueFd(::fcntl(wake.get(), F_DUPFD_CLOEXEC, 0)),
                                      handlersOf(told));
        for (std::uint64_t id = 0; id < files; ++id)
            session.submit(id, file, 1, 1);
        control.ours.reset();
        told.lost.acquire();
    }
    return 0;
}
