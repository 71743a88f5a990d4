#include "qsavd/service.h"

#include "qsavd/channel.h"
#include "qsavd/digest.h"
#include "qsavd/worker.h"
#include "tests/fuzz/messages.h"

#include <array>
#include <cstddef>

#include <sys/eventfd.h>
#include <unistd.h>

// libFuzzer target: the service, with no signatures but as if, and workers that cannot be started, hears the
// input from a client and over its channel. Stops when it does not end with its clients.

namespace qsavd {

SignatureSet::SignatureSet(SignaturePlaces, std::string)
    : count_(1)
{
}

cl_engine* SignatureSet::engine(bool, const std::function<void()>& tick)
{
    static int stand = 0;
    if (tick)
        tick();
    return reinterpret_cast<cl_engine*>(&stand);
}

base::Result<Workspace> Workspace::create()
{
    return Workspace();
}

Workspace::~Workspace() = default;

std::string Workspace::addDirectory(unsigned) const
{
    return {};
}

void Workspace::removeDirectory(const std::string&)
{
}

void runWorker(const WorkerTask&)
{
    ::_exit(1);
}

Digest digestOf(std::string_view)
{
    return {};
}

Digest engineDigest()
{
    return {};
}

} // namespace qsavd

extern "C" cl_error_t cl_engine_free(cl_engine*)
{
    return CL_SUCCESS;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const auto workspace = qsavd::Workspace::create();
    static const base::UniqueFd signals(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    Ends channel;
    Ends client;
    const int end[] = {client.theirs.get(), client.theirs.get()};
    qsavd::sendMessage(channel.ours.get(), qsavd::asBytes(qsavd::ClientNotice{}), std::span(end).first(1));
    forEachMessage({data, size}, [&](unsigned who, std::span<const std::byte> bytes) {
        const int to = who & 0x80 ? channel.ours.get() : client.ours.get();
        qsavd::sendMessage(to, bytes, std::span(end).first(who % 3), MSG_DONTWAIT);
    });
    client = Ends();
    channel.ours.reset();
    qsavd::SignatureSet signatures({}, "");
    qsavd::Service(channel.theirs.get(), signals.get(), signatures, workspace.value()).run();
    return 0;
}
