#include "base/paths.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"
#include "tests/updates/updateworld.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>
#include <ctime>
#include <random>
#include <vector>

#include <sys/mount.h>
#include <sys/stat.h>

using namespace updateworld;

/// The update program as a process, against a mirror of our own.
class UpdateNowTest : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase() { sandbox::makeInstallation(); }

    void init()
    {
        mirror.publish(3);
        mirror.behave("");
    }

    void installsAndUpdates();
    void keepsWhatIsNotOurs();
    void goesBack();
    void refuses_data();
    void refuses();
    void takesNoOtherDatabase();
    void endsInTime();
    void waitsAsAsked();
    void endsOnAFullDisk();
    void believesNoSettings_data();
    void believesNoSettings();
    void goesThroughAProxy();
    void speaksHttps();
    void ignoresTheEnvironment();
    void runsOnce();
    void survivesKills();
    void writesTheLog();
    void isForRoot();

  private:
    Mirror mirror;
};

void UpdateNowTest::installsAndUpdates()
{
    const Machine machine(mirror.address());
    ::umask(077);
    mirror.publish(1);
    QCOMPARE(machine.update().result, "updated");
    QCOMPARE(machine.version(), 1);
    mirror.publish(2);
    QCOMPARE(machine.update().result, "updated");
    QCOMPARE(namesIn(machine.live()), QStringList{"test.cld"});
    QVERIFY(!mirror.requests().contains("GET /test.cvd - ") &&
            mirror.requests().contains("GET /test-2.cdiff -"));
    mirror.publish(3);
    QCOMPARE(machine.update().code, 0);
    ::umask(022);
    QCOMPARE(machine.version(), 3);
    QCOMPARE(machine.update().result, "unchanged");
    QCOMPARE(machine.leftovers(), "");
    struct stat status = {};
    QVERIFY(::stat((machine.live() / "test.cld").c_str(), &status) == 0 && (status.st_mode & 0777) == 0644);
    QVERIFY(::stat(machine.live().c_str(), &status) == 0 && (status.st_mode & 0777) == 0755);
}

void UpdateNowTest::keepsWhatIsNotOurs()
{
    const Machine machine(mirror.address());
    machine.install(1);
    sandbox::writeFile(machine.live() / "own.hdb", "mine");
    fs::create_symlink("/elsewhere.ndb", machine.live() / "link.ndb");
    fs::create_directory(machine.live() / "notes");
    QCOMPARE(machine.update().code, 0);
    QCOMPARE(namesIn(machine.live()), (QStringList{"link.ndb", "notes", "own.hdb", "test.cld"}));
}

void UpdateNowTest::goesBack()
{
    const Machine machine(mirror.address());
    QCOMPARE(machine.update({"--rollback"}).code, 2);
    machine.install(1);
    QCOMPARE(machine.update().code, 0);
    QCOMPARE(machine.version(), 3);
    QCOMPARE(machine.update({"--rollback"}).code, 0);
    QCOMPARE(machine.version(), 1);
    QCOMPARE(machine.update({"--rollback"}).code, 0);
    QCOMPARE(machine.version(), 3);
    QCOMPARE(machine.leftovers(), "");
}

void UpdateNowTest::refuses_data()
{
    QTest::addColumn<int>("installed");
    QTest::addColumn<int>("published");
    QTest::addColumn<QString>("behaviour");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, int installed, int published, const char* behaviour,
                        const char* reason) {
        QTest::newRow(name) << installed << published << behaviour << reason;
    };
    row("403", 1, 3, "cvd status 403", "refuses");
    row("404", 1, 3, "cvd status 404", "does not have it");
    row("429", 1, 3, "cvd status 429", "asks to wait");
    row("429 of a difference", 1, 3, "cdiff status 429,600", "asks to wait for 600 seconds");
    row("500", 1, 3, "cvd status 500", "a fault of its own");
    row("cut", 0, 3, "cvd cut", "broke off");
    row("damaged", 0, 3, "cvd flip", "corrupted");
    row("endless", 0, 3, "cvd endless", "larger than allowed");
    row("in a circle", 1, 3, "cvd circle", "in a circle");
    row("to a file", 1, 3, "cvd elsewhere file:///etc/passwd", "of another kind");
    row("older", 2, 1, "", "older than the installed version 2");
    row("other than told", 0, 3, "cvd other test-1.cvd", "tells of version 3 and gives version 1");
}

void UpdateNowTest::refuses()
{
    QFETCH(int, installed);
    QFETCH(int, published);
    QFETCH(QString, behaviour);
    QFETCH(QString, reason);
    const Machine machine(mirror.address());
    machine.install(installed);
    mirror.publish(published);
    mirror.behave(behaviour.toStdString());
    const Outcome outcome = machine.update();
    QCOMPARE(outcome.code, 2);
    QVERIFY2(outcome.reason.contains(reason), qPrintable(outcome.reason));
    QCOMPARE(machine.version(), installed);
    QCOMPARE(machine.leftovers(), "");
}

void UpdateNowTest::takesNoOtherDatabase()
{
    const Machine machine(mirror.address(), "Databases = daily\n");
    fs::copy_file(database(3), mirror.folder() / "daily.cvd", fs::copy_options::overwrite_existing);
    const Outcome outcome = machine.update();
    QVERIFY2(outcome.reason.contains("another database"), qPrintable(outcome.reason));
    QCOMPARE(namesIn(machine.live()), QStringList());
    QCOMPARE(machine.leftovers(), "");
}

void UpdateNowTest::endsInTime()
{
    // The shortest time that settings allow, in the two ways to waste it.
    const Machine machines[] = {Machine(mirror.address()), Machine(mirror.address())};
    std::vector<std::unique_ptr<QProcess>> runs;
    QElapsedTimer timer;
    timer.start();
    for (std::size_t i = 0; i < 2; ++i) {
        machines[i].install(1);
        mirror.behave(i == 0 ? "cvd hang" : "cvd drip");
        runs.push_back(machines[i].start());
        QTRY_VERIFY(!mirror.requests().isEmpty());
    }
    for (std::size_t i = 0; i < 2; ++i) {
        const Outcome outcome = Machine::outcome(*runs[i]);
        QVERIFY2(outcome.reason.contains("does not answer"), qPrintable(outcome.reason));
        QCOMPARE(machines[i].version(), 1);
        QCOMPARE(machines[i].leftovers(), "");
    }
    QVERIFY2(timer.elapsed() < 40000, qPrintable(QString::number(timer.elapsed())));
}

void UpdateNowTest::waitsAsAsked()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd status 429,600");
    QCOMPARE(machine.update().code, 2);
    mirror.behave("");
    const Outcome outcome = machine.update();
    QCOMPARE(outcome.code, 2);
    QVERIFY2(outcome.reason.contains("asked to wait until"), qPrintable(outcome.reason));
    QCOMPARE(mirror.requests(), QStringList());
    // A time that no server may ask for is a mistake of somebody's clock.
    sandbox::writeFile(machine.root / "lib/signatures.update/wait",
                       std::to_string(std::time(nullptr) + 1000000) + " http://" + mirror.address() + "\n");
    QCOMPARE(machine.update().code, 0);
}

void UpdateNowTest::endsOnAFullDisk()
{
    const Machine machine(mirror.address());
    fs::create_directories(machine.temporary());
    const auto mountSmall = [&machine](const char* size) {
        ::umount(machine.temporary().c_str());
        return ::mount("none", machine.temporary().c_str(), "tmpfs", 0, size) == 0;
    };
    QVERIFY(mountSmall("size=8k"));
    const Outcome outcome = machine.update();
    QCOMPARE(outcome.code, 2);
    QVERIFY2(outcome.reason.contains("no room"), qPrintable(outcome.reason));
    QCOMPARE(machine.version(), 0);
    QCOMPARE(machine.leftovers(), "");
    QVERIFY(mountSmall("size=10m")); // another file system than that of the signatures
    QCOMPARE(machine.update().code, 0);
    QCOMPARE(machine.version(), 3);
    ::umount(machine.temporary().c_str());
}

void UpdateNowTest::believesNoSettings_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("more");
    QTest::newRow("file") << "file:///etc/passwd"
                          << "";
    QTest::newRow("option") << "-o/etc/x"
                            << "";
    QTest::newRow("blank") << "127.0.0.1 x"
                           << "";
    QTest::newRow("line end") << "127.0.0.1\\nHost: x"
                              << "";
    QTest::newRow("login") << "u:p@127.0.0.1"
                           << "";
    QTest::newRow("port") << "127.0.0.1:99999"
                          << "";
    QTest::newRow("upwards") << "http://127.0.0.1/../x"
                             << "";
    QTest::newRow("http and https") << "http://127.0.0.1"
                                    << "UseHttps = yes\n";
    QTest::newRow("database") << "127.0.0.1"
                              << "Databases = \"../../etc/passwd\"\n";
    QTest::newRow("proxy") << "127.0.0.1"
                           << "[Proxy]\nUseProxy = yes\nServer = \"a b\"\nPort = 80\n";
    QTest::newRow("login of a proxy")
        << "127.0.0.1"
        << "[Proxy]\nUseProxy = yes\nServer = a\nPort = 80\nAuthentication = yes\n"
           "User = a\nPassword = \"x\\ny\"\n";
}

void UpdateNowTest::believesNoSettings()
{
    QFETCH(QString, server);
    QFETCH(QString, more);
    const Machine machine(server.toStdString(), more.toStdString());
    const Outcome outcome = machine.update();
    QCOMPARE(outcome.code, 2);
    QVERIFY2(outcome.reason.startsWith("updates.conf: "), qPrintable(outcome.reason));
}

void UpdateNowTest::goesThroughAProxy()
{
    const std::string server = "http://signatures.example";
    const std::string proxy = "[Proxy]\nUseProxy = yes\nServer = 127.0.0.1\nPort = " + mirror.port() + "\n";
    const std::string login = "Authentication = yes\nUser = me\nPassword = \"a:@%20b\"\n";
    const Machine machine(server, proxy);
    const Outcome open = machine.update();
    QVERIFY2(open.code == 0, qPrintable(open.reason));
    QVERIFY(mirror.requests().contains("GET " + QString::fromStdString(server) + "/test.cvd -"));
    machine.install(1);
    mirror.behave("test login me:a:@%20b");
    QVERIFY(machine.update().reason.contains("proxy wants a login"));
    machine.configure(server, proxy + login);
    const Outcome closed = machine.update();
    QVERIFY2(closed.code == 0, qPrintable(closed.reason));
    QCOMPARE(machine.version(), 3);
}

void UpdateNowTest::speaksHttps()
{
    const std::string key = "/tmp/mirror.pem";
    QCOMPARE(QProcess::execute("openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt",
                                           "ec_paramgen_curve:P-256", "-nodes", "-batch", "-days", "2",
                                           "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                                           "-keyout", "/tmp/key.pem", "-out", "/tmp/mirror.crt"}),
             0);
    sandbox::writeFile(key, sandbox::readFile("/tmp/key.pem") + sandbox::readFile("/tmp/mirror.crt"));
    fs::permissions("/tmp/mirror.crt", fs::perms(0644));
    const Mirror safe(key);
    safe.publish(3);
    const Machine machine(safe.address(), "UseHttps = yes\n");
    const QString reason = machine.update().reason;
    QVERIFY2(reason.contains("certificate"), qPrintable(reason));
    machine.configure("https://" + safe.address(), "UseHttps = yes\nCertificates = /tmp/mirror.crt\n");
    QCOMPARE(machine.update().code, 0);
    QCOMPARE(machine.version(), 3);
    machine.install(1);
    safe.behave("test.cvd elsewhere http://" + mirror.address() + "/test.cvd");
    QVERIFY(machine.update().reason.contains("of another kind"));
}

void UpdateNowTest::ignoresTheEnvironment()
{
    const Machine machine(mirror.address());
    QProcess process;
    QProcessEnvironment environment;
    for (const char* name : {"http_proxy", "ALL_PROXY", "https_proxy"})
        environment.insert(name, "http://127.0.0.1:1");
    environment.insert("CURL_CA_BUNDLE", "/nowhere");
    environment.insert("OPENSSL_CONF", "/nowhere");
    process.setProcessEnvironment(environment);
    process.start(UPDATENOW, machine.arguments());
    QCOMPARE(Machine::outcome(process).code, 0);
}

void UpdateNowTest::runsOnce()
{
    const Machine machine(mirror.address());
    mirror.behave("cvd hang");
    const auto first = machine.start();
    QTRY_VERIFY(!mirror.requests().isEmpty());
    const Outcome second = machine.update();
    QCOMPARE(second.result, "busy");
    QCOMPARE(second.code, 1);
    first->terminate();
    QCOMPARE(Machine::outcome(*first, 2).result, "stopped");
    QCOMPARE(machine.leftovers(), "");
}

void UpdateNowTest::survivesKills()
{
    const int kills = qEnvironmentVariableIntValue("VARDO_UPDATE_KILLS");
    std::mt19937 random(std::random_device{}());
    const Machine machine(mirror.address());
    mirror.behave("cdiff slow 5");
    for (int i = 0; i < (kills > 0 ? kills : 8); ++i) {
        machine.install(1);
        const auto run = machine.start();
        QVERIFY(run->waitForStarted());
        QTest::qWait(static_cast<int>(random() % 250));
        run->kill();
        run->waitForFinished();
        const int version = machine.version();
        QVERIFY2(version == 1 || version == 3, qPrintable(QString::number(version)));
    }
    QCOMPARE(machine.update().code, 0);
    QCOMPARE(machine.version(), 3);
    QCOMPARE(machine.leftovers(), "");
}

void UpdateNowTest::writesTheLog()
{
    const Machine machine(mirror.address());
    const std::string log = paths::updateLog;
    sandbox::writeFile(log, std::string(1100000, 'x') + "\nthe last line\n");
    mirror.behave("cvd elsewhere http://127.0.0.1:1/%0A2026-01-01");
    machine.update();
    mirror.behave("");
    QCOMPARE(machine.update().code, 0);
    const std::string text = sandbox::readFile(log);
    QVERIFY(text.size() < 600000);
    for (const char* part : {"the last line\n", "Update started.\n", "Server: http://127.0.0.1",
                             "test: version none -> 3, 9483 bytes", "Reason: ", "have been updated.\n"})
        QVERIFY2(text.find(part) != std::string::npos, part);
    QVERIFY(text.find("\n2026-01-01") == std::string::npos);
    fs::remove(log);
    fs::create_symlink("/tmp/elsewhere", log);
    QCOMPARE(machine.update().code, 0);
    QVERIFY(!fs::exists("/tmp/elsewhere"));
    fs::remove(log);
}

void UpdateNowTest::isForRoot()
{
    const Machine machine(mirror.address());
    QProcess process;
    process.start("setpriv", QStringList{"--reuid=1000", "--regid=990", "--clear-groups", UPDATENOW} +
                                 machine.arguments());
    const Outcome outcome = Machine::outcome(process);
    QCOMPARE(outcome.code, 2);
    QCOMPARE(outcome.reason, "Only root may update the signatures.");
}

VARDO_ROOT_TEST_MAIN(UpdateNowTest)

#include "tst_updatenow.moc"
