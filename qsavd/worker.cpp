#include "qsavd/worker.h"

#include "base/priority.h"
#include "protocol/message.h"
#include "qsavd/filescanner.h"
#include "qsavd/lockdown.h"

#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace qsavd {

namespace {

void appendText(std::vector<std::byte>& data, std::uint32_t& length, std::string_view text, std::size_t limit)
{
    const std::string_view kept = text.substr(0, limit);
    length = static_cast<std::uint32_t>(kept.size());
    const auto bytes = std::as_bytes(std::span(kept));
    data.insert(data.end(), bytes.begin(), bytes.end());
}

bool sendResult(int socket, std::uint64_t id, const FileFinding& finding)
{
    FileResult head;
    head.id = id;
    head.finding = finding.finding;
    std::vector<std::byte> data(sizeof head);
    appendText(data, head.virusLength, finding.virus, maxVirusName);
    appendText(data, head.innerLength, finding.inner, maxInnerName);
    appendText(data, head.remarkLength, finding.remark, maxRemark);
    std::memcpy(data.data(), &head, sizeof head);
    return sendMessage(socket, data) == 0;
}

bool serveBatch(int socket, FileScanner& scanner, Message& message)
{
    ScanBatch batch;
    if (!parse(message.data(), batch) || batch.count == 0 || batch.count > maxBatchFiles ||
        batch.count != message.fds.size())
        return false;
    for (std::uint32_t i = 0; i < batch.count; ++i) {
        const FileFinding finding = scanner.scan(message.fds[i].get());
        message.fds[i].reset();
        if (!sendResult(socket, batch.ids[i], finding))
            return false;
    }
    return true;
}

void takeDefaultSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

void runWorker(const WorkerTask& task)
{
    takeDefaultSignals();
    const int socket = keepOnly(task.socket);
    // While it may.
    base::takePriority({task.options.nice, task.options.ioPriority, static_cast<int>(task.options.policy)});
    if (!lockDown(task.directory, task.service, task.options.maxFileSize, task.options.maxScanSize))
        _exit(EXIT_FAILURE);
    FileScanner scanner(task.engine, task.options, task.directory);
    if (sendMessage(socket, asBytes(WorkerReady{})) != 0)
        _exit(EXIT_FAILURE);
    Message message;
    while (receiveMessage(socket, message) == Receive::Message)
        if (!serveBatch(socket, scanner, message))
            break;
    _exit(EXIT_SUCCESS);
}

} // namespace qsavd
