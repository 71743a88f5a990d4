#include "engine/interface.h"
#include "protocol/message.h"
#include "protocol/socketaddress.h"
#include "tests/qsavd/servicehome.h"
#include "tests/support/rootmain.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

constexpr uid_t nobody = 65534;

bool exists(const std::string& path)
{
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0;
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A socket of its own, with the address of the home's service.
struct ServiceSocket
{
    explicit ServiceSocket(const ServiceHome& home)
        : directory(open(QFile::encodeName(home.path("")).constData(), O_PATH | O_DIRECTORY))
        , address(directory.get(), "qsav")
        , socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
    {
    }
    bool connect() const { return ::connect(socket.get(), address.get(), address.length()) == 0; }
    bool listen() const
    {
        return bind(socket.get(), address.get(), address.length()) == 0 && ::listen(socket.get(), 5) == 0;
    }

    base::UniqueFd directory;
    qsavd::SocketAddress address;
    base::UniqueFd socket;
};

bool isNobody()
{
    return setresgid(nobody, nobody, nobody) == 0 && setresuid(nobody, nobody, nobody) == 0;
}

/// Runs `action` in a child process under another user id and gives its exit code.
int asNobody(const std::function<int()>& action)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(isNobody() ? action() : 99);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

/// How the service comes, stays and goes.
class TestLifecycle : public QObject
{
    Q_OBJECT

  private slots:
    void staysLoadedForTheNextCaller()
    {
        ServiceHome home;
        QCOMPARE(home.start(), 2ul);
        const pid_t first = home.pid();
        QCOMPARE(home.start(), 2ul);
        QCOMPARE(home.pid(), first);
        struct stat info = {};
        QCOMPARE(lstat(home.paths().socket.c_str(), &info), 0);
        QCOMPARE(info.st_mode, mode_t(S_IFSOCK | 0600));
        // What a dead one left is replaced.
        kill(first, SIGKILL);
        QVERIFY(ServiceHome::waitForEnd(first));
        QVERIFY(exists(home.paths().socket) && exists(home.paths().pidFile));
        QCOMPARE(home.start(), 2ul);
        QVERIFY(home.pid() != first);
    }

    void simultaneousStartsGiveOneService()
    {
        ServiceHome home;
        std::atomic<int> started = 0;
        std::vector<std::thread> callers;
        for (int i = 0; i < 6; ++i)
            callers.emplace_back([&] { started += home.start() == 2 ? 1 : 0; });
        for (std::thread& caller : callers)
            caller.join();
        QCOMPARE(started.load(), 6);
        QProcess list;
        list.start("pgrep", {"-f", "-c", "--", "--socket " + QString::fromStdString(home.paths().socket)});
        QVERIFY(list.waitForFinished());
        // The process that listens, and the one that holds the signatures.
        QCOMPARE(list.readAllStandardOutput().trimmed(), QByteArray("2"));
    }

    void replacesNothingElse()
    {
        for (const bool link : {false, true}) {
            for (const char* name : {"qsav", "qsav.pid"}) {
                ServiceHome home;
                const QString victim = home.write(link ? "victim" : name, "precious\n");
                if (link)
                    QVERIFY(QFile::link(victim, home.path(name)));
                const auto info = vardo::startService(home.paths(), true, {});
                QVERIFY(!info && !info.error().text.empty());
                QCOMPARE(content(victim), QByteArray("precious\n"));
                // Nothing of its own is left.
                QVERIFY(exists(home.path(name).toStdString()));
                QVERIFY(exists(home.paths().socket) != exists(home.paths().pidFile));
            }
        }
    }

    void serviceRefusesOtherUsers()
    {
        ServiceHome home;
        QCOMPARE(home.start(), 2ul);
        chmod(QFile::encodeName(home.path("")).constData(), 0755);
        chmod(home.paths().socket.c_str(), 0666);
        const auto greeted = [&] {
            const ServiceSocket client(home);
            qsavd::Message message;
            if (!client.connect())
                return 2;
            return qsavd::receiveMessage(client.socket.get(), message) == qsavd::Receive::Message ? 1 : 0;
        };
        QCOMPARE(asNobody(greeted), 0);
        QCOMPARE(home.start(), 2ul);
    }

    void clientRefusesOtherUsers()
    {
        ServiceHome home;
        chmod(QFile::encodeName(home.path("")).constData(), 0777);
        int ready[2];
        QCOMPARE(pipe(ready), 0);
        const pid_t impostor = fork();
        if (impostor == 0) {
            const ServiceSocket service(home);
            if (isNobody() && service.listen() && write(ready[1], "x", 1) == 1)
                pause();
            _exit(1);
        }
        char byte = 0;
        QCOMPARE(read(ready[0], &byte, 1), 1);
        const auto info = vardo::startService(home.paths(), true, {});
        kill(impostor, SIGKILL);
        waitpid(impostor, nullptr, 0);
        close(ready[0]);
        close(ready[1]);
        QVERIFY2(info.error().text.find("belongs to another user") != std::string::npos,
                 info.error().text.c_str());
    }

    void exchangedProgramEndsNoScan()
    {
        ServiceHome home;
        const QString copy = home.path("qsavd");
        QVERIFY(QFile::copy(QString::fromStdString(home.paths().program), copy));
        home.paths().program = copy.toStdString();
        auto running = std::make_unique<TestScan>(home);
        const pid_t before = home.pid();
        QVERIFY(QFile::copy(copy, copy + ".new"));
        QCOMPARE(rename(QFile::encodeName(copy + ".new").constData(), home.paths().program.c_str()), 0);
        QCOMPARE(home.start(), 2ul);
        const pid_t after = home.pid();
        QVERIFY(after != before && exists(home.paths().socket));
        running->submit(home.write("marked", ServiceHome::marker()));
        QVERIFY(running->waitForAll());
        QCOMPARE(running->verdict(0).status, int(SCANSTAT_INFECTED));
        running.reset();
        QVERIFY(ServiceHome::waitForEnd(before));
        // So does the removal of the package, which leaves nothing behind.
        running = std::make_unique<TestScan>(home);
        kill(after, SIGHUP);
        QTRY_VERIFY(!exists(home.paths().socket) && !exists(home.paths().pidFile));
        running->submit(home.path("marked"));
        QVERIFY(running->waitForAll());
        QCOMPARE(running->verdict(0).status, int(SCANSTAT_INFECTED));
        running.reset();
        QVERIFY(ServiceHome::waitForEnd(after));
    }

    void silentServiceIsReplaced()
    {
        ServiceHome home;
        home.paths().patience = std::chrono::seconds(2);
        QCOMPARE(home.start(), 2ul);
        for (const bool listens : {true, false}) {
            const pid_t silent = home.pid();
            QCOMPARE(kill(listens ? silent : home.holders().value(0), SIGSTOP), 0);
            QCOMPARE(home.start(), 2ul);
            QVERIFY(home.pid() != silent);
        }
        ServiceHome other;
        other.paths().patience = std::chrono::milliseconds(300);
        const ServiceSocket mute(other);
        QVERIFY(mute.listen());
        const auto info = vardo::startService(other.paths(), true, {});
        QVERIFY(!info);
        QVERIFY2(info.error().text.find("does not answer") != std::string::npos, info.error().text.c_str());
    }

    void endsWhenIdle()
    {
        ServiceHome home;
        QProcess service;
        service.start(QString::fromStdString(home.paths().program),
                      {"--socket", home.path("qsav"), "--pid-file", home.path("qsav.pid"), "--signatures",
                       home.path("signatures"), "--idle-seconds", "1", "--foreground"});
        QVERIFY(service.waitForStarted());
        QTRY_VERIFY(exists(home.paths().socket));
        {
            TestScan session(home);
            QVERIFY2(!service.waitForFinished(2500), "a session keeps it alive");
        }
        QVERIFY(service.waitForFinished());
        QCOMPARE(service.exitCode(), 0);
        QVERIFY(!exists(home.paths().socket) && !exists(home.paths().pidFile));
    }

    void endsWhenTold()
    {
        ServiceHome home;
        TestScan session(home);
        QTRY_VERIFY(!home.workers().isEmpty());
        const pid_t service = home.pid();
        const QList<pid_t> workers = home.workers();
        kill(service, SIGTERM);
        QVERIFY(ServiceHome::waitForEnd(service));
        for (const pid_t worker : workers)
            QVERIFY(ServiceHome::waitForEnd(worker));
        QVERIFY(!exists(home.paths().socket) && !exists(home.paths().pidFile));
        QCOMPARE(home.start(), 2ul);
    }

    void waitingCanBeGivenUp()
    {
        // Somebody listens, and says nothing.
        ServiceHome home;
        const ServiceSocket mute(home);
        QVERIFY(mute.listen());
        int beats = 0;
        const auto info = vardo::startService(home.paths(), true, [&] { return ++beats < 3; });
        QVERIFY(!info);
        QCOMPARE(info.error().code, ECANCELED);
        QCOMPARE(beats, 3);
        QVERIFY(vardo::startService(home.paths(), false, {})); // does not wait for it
        beats = 0;
        const auto session = vardo::ScanSession::open(home.paths(), {}, {}, [&] { return ++beats < 3; });
        QVERIFY(!session);
        QCOMPARE(session.error().code, ECANCELED);
        QCOMPARE(beats, 3);
    }

    void launchingCanBeGivenUp()
    {
        ServiceHome home;
        const QString hanging = home.write("hanging", "#!/bin/sh\nexec sleep 60\n");
        QFile::setPermissions(hanging, QFile::ReadOwner | QFile::ExeOwner);
        home.paths().program = hanging.toStdString();
        int beats = 0;
        QElapsedTimer timer;
        timer.start();
        const auto info = vardo::startService(home.paths(), true, [&] { return ++beats < 3; });
        QVERIFY(timer.elapsed() < 5000);
        QVERIFY(!info);
        QCOMPARE(info.error().code, ECANCELED);
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1); // it was ended, and nothing is left to wait for
    }
};

VARDO_ROOT_TEST_MAIN(TestLifecycle)
#include "tst_lifecycle.moc"
