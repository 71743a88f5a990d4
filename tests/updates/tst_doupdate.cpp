#include "engine/update.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"
#include "tests/updates/updateworld.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <functional>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

using namespace updateworld;

namespace {

struct Call
{
    int code;
    QByteArray text;
    long long first;
    long long second;
};

/// One run through the boundary.
struct Session
{
    explicit Session(const Machine& machine)
        : update(machine.qsavConf().c_str(), machine.updatesConf().c_str())
    {
        if (update.ReadConfiguration(vUpdateConf::PathConf, nullptr) < 0 ||
            update.ReadConfiguration(vUpdateConf::UpdateConf, nullptr) < 0)
            qFatal("settings of the test cannot be read");
    }

    int run() { return update.DoUpdate(&Session::onCall, this, nullptr); }

    static int onCall(int code, const char* text, long long first, long long second, void* context)
    {
        auto& self = *static_cast<Session*>(context);
        self.calls.push_back({code, text, first, second});
        self.onOtherThread = self.onOtherThread || std::this_thread::get_id() != self.thread;
        return self.answer ? self.answer(code) : 0;
    }

    /// The codes, each once where it comes more than once in a row.
    QByteArray order() const
    {
        QByteArray codes;
        for (const Call& call : calls) {
            const QByteArray code = QByteArray::number(call.code) + ' ';
            codes += codes.endsWith(' ' + code) || codes == code ? QByteArray() : code;
        }
        return codes.trimmed();
    }

    QByteArray lastText() const { return calls.empty() ? QByteArray() : calls.back().text; }

    vUpdate update;
    std::vector<Call> calls;
    std::function<int(int)> answer;
    std::thread::id thread = std::this_thread::get_id();
    bool onOtherThread = false;
};

/// How many processes of an update there are.
int updateProcesses()
{
    int count = 0;
    for (const QString& name : namesIn("/proc")) {
        const QByteArray command =
            QByteArray::fromStdString(sandbox::readFile("/proc/" + name.toStdString() + "/comm")).trimmed();
        count += command == "updatenow" || command == "qsfetch";
    }
    return count;
}

} // namespace

/// Updates through the engine's boundary.
class DoUpdateTest : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase() { sandbox::makeInstallation(); }

    void init()
    {
        mirror.publish(3);
        mirror.behave("");
    }

    void tellsEachStep();
    void tellsOfFailures();
    void tellsTwoByTheResultAlone();
    void stopsWithinHalfASecond_data();
    void stopsWithinHalfASecond();
    void survivesItsProgram();
    void endsWithItsCaller();
    void leavesTheCallerAsItWas();
    void goesByWhatIsInMemory();

  private:
    /// For a thread beside a run: returns when the run has reached the server.
    void waitForRequest() const
    {
        for (int i = 0; i < 1000 && mirror.requests().isEmpty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    Mirror mirror;
};

void DoUpdateTest::tellsEachStep()
{
    const Machine machine(mirror.address());
    machine.install(1);
    Session session(machine);
    QCOMPARE(session.run(), 0);
    QCOMPARE(session.order(), "4 5 6 8 6 9");
    QVERIFY(!session.onOtherThread);
    long long done = 0;
    Call last = {};
    for (const Call& call : session.calls) {
        if (call.code != UPDATE_PROGRESS)
            continue;
        QVERIFY(call.second > done && call.first == 2402);
        done = call.second;
        last = call;
    }
    QCOMPARE(last.second, last.first);
    Session again(machine);
    QCOMPARE(again.run(), 0);
    QCOMPARE(again.order(), "4 5 6");
    QCOMPARE(again.lastText(), "test is up to date (version 3)");
}

void DoUpdateTest::tellsOfFailures()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd status 500");
    Session session(machine);
    QCOMPARE(session.run(), -1);
    QCOMPARE(session.order(), "4 6 11");
    QVERIFY(session.lastText().contains("a fault of its own"));
    machine.configure("a b", "");
    Session other(machine);
    QCOMPARE(other.run(), -1);
    QCOMPARE(other.order(), "6 11");
}

void DoUpdateTest::tellsTwoByTheResultAlone()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd hang");
    const auto first = machine.start();
    QTRY_VERIFY(!mirror.requests().isEmpty());
    Session second(machine);
    QCOMPARE(second.run(), 1);
    QVERIFY(second.calls.empty());
    first->kill();
    first->waitForFinished();
    fs::remove_all(machine.root / "lib/signatures.update");
    sandbox::writeFile(machine.root / "lib/signatures.update", "in the way");
    Session third(machine);
    QCOMPARE(third.run(), -2);
    QVERIFY(third.calls.empty());
}

void DoUpdateTest::stopsWithinHalfASecond_data()
{
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<bool>("byAnswer");
    QTest::newRow("while the server hangs") << "cvd hang" << false;
    QTest::newRow("while a file trickles in") << "cdiff slow 50" << false;
    QTest::newRow("by the callback's answer") << "cdiff slow 50" << true;
}

void DoUpdateTest::stopsWithinHalfASecond()
{
    QFETCH(QString, behaviour);
    QFETCH(bool, byAnswer);
    const Machine machine(mirror.address());
    machine.install(1);
    mirror.behave(behaviour.toStdString());
    Session session(machine);
    QElapsedTimer timer;
    std::thread stopper;
    if (byAnswer) {
        session.answer = [&timer](int code) {
            if (code == UPDATE_PROGRESS)
                timer.start();
            return code == UPDATE_PROGRESS ? 2 : 0;
        };
    } else {
        stopper = std::thread([this, &timer] {
            waitForRequest();
            timer.start();
            signal_update_term(1);
        });
    }
    const int result = session.run();
    const qint64 elapsed = timer.isValid() ? timer.elapsed() : -1;
    if (stopper.joinable())
        stopper.join();
    QCOMPARE(result, 2);
    QVERIFY2(elapsed >= 0 && elapsed < 500, qPrintable(QString::number(elapsed)));
    QVERIFY(!session.order().contains("11"));
    QCOMPARE(machine.version(), 1);
    QTRY_COMPARE(updateProcesses(), 0);
    QCOMPARE(machine.leftovers(), "");
}

void DoUpdateTest::survivesItsProgram()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd hang");
    Session session(machine);
    std::thread killer([this] {
        waitForRequest();
        QProcess::execute("pkill", {"-KILL", "-x", "updatenow"}); // in a sandbox with processes of its own
    });
    const int result = session.run();
    killer.join();
    QCOMPARE(result, -1);
    QCOMPARE(session.order(), "4 6 11");
    QTRY_COMPARE(updateProcesses(), 0);
}

void DoUpdateTest::endsWithItsCaller()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd hang");
    const pid_t caller = ::fork();
    if (caller == 0) {
        Session session(machine);
        ::_exit(session.run());
    }
    QTRY_VERIFY(!mirror.requests().isEmpty());
    QVERIFY(updateProcesses() > 0);
    ::kill(caller, SIGKILL);
    ::waitpid(caller, nullptr, 0);
    QTRY_COMPARE_WITH_TIMEOUT(updateProcesses(), 0, 5000);
    QCOMPARE(machine.leftovers(), "");
}

void DoUpdateTest::leavesTheCallerAsItWas()
{
    const Machine machine(mirror.address());
    const auto state = [] {
        return namesIn("/proc/self/fd").join(' ') + QDir::currentPath() +
               QString::fromStdString(sandbox::readFile("/proc/self/status"))
                   .section("SigPnd:", 1)
                   .section("Cap", 0, 0);
    };
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(7);
    std::signal(SIGCHLD, SIG_DFL);
    const QString before = state();
    Session session(machine);
    QCOMPARE(session.run(), 0);
    QCOMPARE(state(), before);
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QCOMPARE(WEXITSTATUS(status), 7);
    // A caller that has its children reaped by the system learns the result all the same.
    std::signal(SIGCHLD, SIG_IGN);
    Session other(machine);
    QCOMPARE(other.run(), 0);
    std::signal(SIGCHLD, SIG_DFL);
}

void DoUpdateTest::goesByWhatIsInMemory()
{
    const Machine machine("http://signatures.example");
    Session session(machine);
    unsigned char on = 1;
    unsigned int port = static_cast<unsigned int>(std::stoul(mirror.port()));
    session.update.SetOption(UPDOPT_USEPROXY, &on);
    session.update.SetOption(UPDOPT_PROXYSERVER, const_cast<char*>("127.0.0.1"));
    session.update.SetOption(UPDOPT_PROXYPORT, &port);
    QCOMPARE(session.run(), 0);
    QCOMPARE(machine.version(), 3);
}

VARDO_ROOT_TEST_MAIN(DoUpdateTest)

#include "tst_doupdate.moc"
