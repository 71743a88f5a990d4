#include "qsavd/holder.h"

#include "base/priority.h"
#include "base/systemerror.h"
#include "qsavd/lockdown.h"
#include "qsavd/scantrace.h"
#include "qsavd/service.h"
#include "qsavd/signatureset.h"
#include "qsavd/warmup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qsavd {

namespace {

/// While it loads, which the library cannot be made to stop, requests to end do so at once.
void letSignalsEnd(int how)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT})
        sigaddset(&signals, signal);
    sigprocmask(how, &signals, nullptr);
}

base::UniqueFd servedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return base::UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// The life of the process. Everything that is not for it was closed.
int holdSet(int channel, pid_t front, SignatureSet& signatures, const Workspace& workspace)
{
    // A change of user clears what follows it.
    if (!giveUpRoot(serviceIdentity()) || prctl(PR_SET_DUMPABLE, 0) != 0 ||
        prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != front)
        return EXIT_FAILURE;
    if (cl_init(CL_INIT_DEFAULT) != CL_SUCCESS)
        return EXIT_FAILURE;
    catchLibraryMessages();
    const Warmth warmth;
    signatures.load();
    base::useAllCores();
    const base::UniqueFd signalFd = servedSignals();
    if (!signalFd)
        return EXIT_FAILURE;
    Service(channel, signalFd.get(), signatures, workspace).run();
    return EXIT_SUCCESS;
}

} // namespace

Holder::Holder(Workspace workspace, base::UniqueFd channel)
    : workspace_(std::move(workspace))
    , channel_(std::move(channel))
    , started_(Clock::now())
{
}

Holder::~Holder() = default;

base::Result<std::unique_ptr<Holder>> Holder::start(const SignaturePlaces& places, unsigned roomKilobytes)
{
    auto workspace = Workspace::create();
    if (!workspace)
        return workspace.error();
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return base::systemError();
    std::unique_ptr<Holder> holder(new Holder(std::move(workspace).value(), base::UniqueFd(ends[0])));
    base::UniqueFd other(ends[1]);
    const pid_t front = getpid();
    holder->pid_ = fork();
    if (holder->pid_ < 0)
        return base::systemError();
    if (holder->pid_ == 0) {
        // Only the process that listens is told that programs are exchanged; workers inherit this.
        signal(SIGHUP, SIG_IGN);
        letSignalsEnd(SIG_UNBLOCK);
        const int channel = keepOnly(other.get());
        holder->workspace_.makePrivate(roomKilobytes);
        SignatureSet signatures(places, holder->workspace_.path());
        _exit(holdSet(channel, front, signatures, holder->workspace_));
    }
    return holder;
}

std::uint64_t Holder::memory() const
{
    unsigned long size = 0, resident = 0, shared = 0;
    const std::string path = "/proc/" + std::to_string(pid_) + "/statm";
    if (std::FILE* file = std::fopen(path.c_str(), "re")) {
        if (std::fscanf(file, "%lu %lu %lu", &size, &resident, &shared) != 3)
            resident = shared = 0;
        std::fclose(file);
    }
    return std::uint64_t{resident - shared} * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

bool Holder::readState()
{
    Message message;
    bool told = false;
    while (receiveMessage(channel_.get(), message, MSG_DONTWAIT) == Receive::Message)
        told = readNotice(message, state_) || told;
    loaded_ = loaded_ || told;
    return told;
}

bool Holder::serve(int client) const
{
    return sendMessage(channel_.get(), asBytes(ClientNotice{}), std::array{client}, MSG_DONTWAIT) == 0;
}

void Holder::retire() const
{
    shutdown(channel_.get(), SHUT_WR);
}

} // namespace qsavd
