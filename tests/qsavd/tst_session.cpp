#include "engine/interface.h"
#include "protocol/message.h"
#include "protocol/socketaddress.h"
#include "tests/qsavd/servicehome.h"

#include <QTest>

#include <atomic>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <poll.h>

namespace {

using Answer = std::vector<std::byte>;

/// The worker's answer to a file, as a hostile worker might give it.
Answer answer(std::uint64_t id, qsavd::Finding finding, std::string_view text, std::uint32_t announced)
{
    qsavd::FileResult head;
    head.id = id;
    head.finding = finding;
    head.virusLength = announced;
    Answer data(sizeof head);
    std::memcpy(data.data(), &head, sizeof head);
    for (const char c : text)
        data.push_back(static_cast<std::byte>(c));
    return data;
}

Answer goodAnswer(std::uint64_t id)
{
    return answer(id, qsavd::Finding::Clean, "", 0);
}

} // namespace

/// Plays the service and its workers, one worker at a time, from a thread of its own.
class FakeService
{
  public:
    /// Gives the answer to a file that the `worker`th worker was handed; an empty one: the worker dies.
    using Script = std::function<Answer(unsigned worker, std::uint64_t id)>;

    FakeService(const ServiceHome& home, Script script, bool getsReady = true)
        : script_(std::move(script))
        , getsReady_(getsReady)
        , directory_(open(QFile::encodeName(home.path("")).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC))
        , listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
    {
        const qsavd::SocketAddress address(directory_.get(), "qsav");
        if (bind(listener_.get(), address.get(), address.length()) != 0 || listen(listener_.get(), 5) != 0)
            qFatal("cannot listen");
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeService()
    {
        ending_ = true;
        thread_.join();
    }

    unsigned started() const { return started_; }
    /// Reads how many workers the client wants to be killed, which nobody has read before.
    int readKills() const
    {
        qsavd::Message message;
        qsavd::KillWorker kill;
        int kills = 0;
        while (qsavd::receiveMessage(control_.get(), message, MSG_DONTWAIT) == qsavd::Receive::Message)
            kills += qsavd::parse(message.data(), kill);
        return kills;
    }

  private:
    void serve();
    void serveClient();
    bool startWorker();
    bool playWorker();

    /// Waits for something to read; false at the end of the test.
    bool readable(int fd) const
    {
        while (!ending_) {
            pollfd watched{fd, POLLIN, 0};
            if (poll(&watched, 1, 20) > 0)
                return true;
        }
        return false;
    }

    Script script_;
    bool getsReady_;
    base::UniqueFd directory_;
    base::UniqueFd listener_;
    base::UniqueFd control_;
    base::UniqueFd worker_;
    std::atomic<bool> ending_ = false;
    std::atomic<unsigned> started_ = 0;
    std::thread thread_;
};

void FakeService::serve()
{
    while (readable(listener_.get()))
        serveClient();
}

void FakeService::serveClient()
{
    control_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    qsavd::Hello hello;
    hello.usable = 1;
    qsavd::sendMessage(control_.get(), qsavd::asBytes(hello));
    qsavd::Message begin;
    if (!readable(control_.get()) || qsavd::receiveMessage(control_.get(), begin) != qsavd::Receive::Message)
        return;
    while (startWorker() && playWorker()) {
    }
}

/// False when the client has hung up.
bool FakeService::startWorker()
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        qFatal("no socket pair");
    const base::UniqueFd clientEnd(ends[0]);
    worker_.reset(ends[1]);
    qsavd::WorkerStarted message;
    message.worker = started_++;
    if (getsReady_)
        qsavd::sendMessage(worker_.get(), qsavd::asBytes(qsavd::WorkerReady{}));
    return qsavd::sendMessage(control_.get(), qsavd::asBytes(message), std::array{clientEnd.get()}) == 0;
}

/// True when the worker is to be followed by another.
bool FakeService::playWorker()
{
    if (!getsReady_) {
        worker_.reset();
        return !ending_;
    }
    for (;;) {
        qsavd::Message message;
        qsavd::ScanBatch batch;
        if (!readable(worker_.get()))
            return false;
        if (qsavd::receiveMessage(worker_.get(), message) != qsavd::Receive::Message ||
            !qsavd::parse(message.data(), batch))
            return true;
        for (std::uint32_t i = 0; i < batch.count; ++i) {
            const Answer data = script_(started_ - 1, batch.ids[i]);
            if (data.empty())
                return true;
            qsavd::sendMessage(worker_.get(), data);
        }
    }
}

/// The client's side of a session, against workers that lie, die or never start.
class TestSession : public QObject
{
    Q_OBJECT

  private slots:
    void believesNoLie()
    {
        const auto clean = qsavd::Finding::Clean;
        const std::pair<const char*, Answer> lies[] = {
            {"unknown id", answer(77, clean, "", 0)},
            {"id of a later file", answer(2, clean, "", 0)},
            {"unknown finding", answer(0, qsavd::Finding(6), "", 0)},
            {"negative finding", answer(0, qsavd::Finding(~0u), "", 0)},
            {"text that is not there", answer(0, qsavd::Finding::Infected, "", 200)},
            {"length that overflows", answer(0, qsavd::Finding::Infected, "x", ~0u)},
            {"text that is too much", answer(0, clean, "xxxx", 3)},
            {"torn", Answer(5)},
            {"too long", Answer(200000)},
        };
        for (const auto& [name, lie] : lies) {
            ServiceHome home;
            FakeService service(home, [&told = lie](unsigned worker, std::uint64_t id) {
                return worker == 0 ? told : goodAnswer(id);
            });
            TestScan scan(home);
            for (int i = 0; i < 3; ++i)
                scan.submit(QString("/dev/null"));
            QVERIFY2(scan.waitForAll(), name);
            QVERIFY2(scan.verdict(0).status == SCANSTAT_ERROR && !scan.verdict(0).remark.empty(), name);
            for (const std::size_t other : {1, 2})
                QVERIFY2(scan.verdict(other).status == SCANSTAT_CLEAN, name);
            QVERIFY2(!scan.confused() && service.started() == 2, name);
        }
    }

    void eachDeathCostsOneFile()
    {
        ServiceHome home;
        FakeService service(
            home, [](unsigned, std::uint64_t id) { return id % 3 == 0 ? Answer() : goodAnswer(id); });
        TestScan scan(home);
        constexpr std::size_t count = 1500; // more requests than the socket takes, while nobody reads
        for (std::size_t i = 0; i < count; ++i)
            scan.submit(QString("/dev/null"));
        QVERIFY(scan.waitForAll());
        for (std::size_t i = 0; i < count; ++i)
            QCOMPARE(scan.verdict(i).status, i % 3 == 0 ? int(SCANSTAT_ERROR) : int(SCANSTAT_CLEAN));
        QVERIFY(!scan.confused());
        int kills = 0;
        QTRY_COMPARE(kills += service.readKills(), int(count) / 3);
    }

    void workersThatNeverStartLoseTheSession()
    {
        ServiceHome home;
        FakeService service(home, {}, false);
        TestScan scan(home);
        for (int i = 0; i < 20; ++i)
            scan.submit(QString("/dev/null"));
        QTRY_VERIFY(!scan.lost().empty());
        scan.submit(QString("/dev/null"));
        QCOMPARE(scan.verdicts(), std::size_t(0)); // nothing is said about files that nobody looked at
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "tst_session.moc"
