#include "shell/paths.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QProcess>
#include <QTest>

#include <filesystem>
#include <memory>

#include <signal.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr sandbox::Ids root{0, 0};
constexpr sandbox::Ids user{1000, 1000};
constexpr sandbox::Ids userOfRootsGroup{1000, 0};
constexpr sandbox::Ids rootOfUsersGroup{0, 1000};
constexpr char ownConf[] = "/home/tester/.vardo/vardo.conf";
constexpr char sharedEngine[] = "Vardo /opt/Quillstone/etc/vardo/vardo.conf";
constexpr char reportFile[] = "/tmp/report";

/// One start of the window as a process of its own.
class Start
{
  public:
    explicit Start(sandbox::Ids ids, const char* script = "", QSize screen = {800, 600})
    {
        sandbox::writeFile("/tmp/script", script);
        fs::remove(reportFile);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen:configfile=" + screenFile(screen));
        environment.insert("START_SCRIPT", "/tmp/script");
        environment.insert("START_REPORT", reportFile);
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QStringList command;
        for (const std::string& word : sandbox::asUser(ids, {SCRIPTED_PROGRAM}))
            command << QString::fromStdString(word);
        process_.start(command.takeFirst(), command);
    }
    ~Start()
    {
        process_.kill();
        process_.waitForFinished();
    }

    qint64 pid() const { return process_.processId(); }
    QProcess& process() { return process_; }

    /// The exit status as the parent process sees it; -1 after a crash.
    int exitCode()
    {
        const bool ended = process_.waitForFinished(20'000) && process_.exitStatus() == QProcess::NormalExit;
        return ended ? process_.exitCode() : -1;
    }

    static QStringList report()
    {
        return QString::fromStdString(sandbox::readFile(reportFile)).split('\n', Qt::SkipEmptyParts);
    }
    QStringList boxes() const { return report().filter(QRegularExpression("^box ")); }
    QStringList windows() const { return report().filter(QRegularExpression("^window ")); }

  private:
    static QString screenFile(QSize size)
    {
        const QString text = R"({"screens": [{"name": "one", "x": 0, "y": 0, "width": %1, "height": %2,)"
                             R"( "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";
        sandbox::writeFile("/tmp/screen.json", text.arg(size.width()).arg(size.height()).toStdString());
        return "/tmp/screen.json";
    }

    QProcess process_;
};

QStringList notice(const char* text)
{
    return {QString("box \"%1\" 2:Ok").arg(text)};
}

QStringList error(const char* text)
{
    return {QString("box \"%1\" 1:Ok").arg(text)};
}

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void goesThroughTheStepsInOrder()
    {
        Start start(root);
        QCOMPARE(start.exitCode(), 0);
        QStringList expected = {
            "QS_GetSystemType",
            sharedEngine,
            "ReadConfiguration (null)",
            "GetOption 11",
            "SetOption 6",
            "SetScanOption 0x800",
            "GetQSAVInfo 1 /opt/Quillstone/etc/qsav.conf",
            "MakeAlert 1900-01-00",
            "VardoAVInit /opt/Quillstone/etc/qsav.conf 1",
            "GetOption 4",
            "VardoIsAVLoaded",
        };
        const QStringList report = start.report();
        QCOMPARE(report.mid(0, expected.size()), expected);
        QCOMPARE(start.windows(), QStringList("window 38,18 724x564 fixed rounded"));
        QCOMPARE(report.last(), "~Vardo");
        QVERIFY(!fs::exists(paths::guardFile));
    }

    void refusesWithAMessage_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<QString>("lastCall");
        const auto row = [](const char* name, const char* script, const char* command, QStringList boxes,
                            const char* lastCall) {
            QTest::newRow(name) << QByteArray(script) << QByteArray(command) << boxes << lastCall;
        };
        row("no engine", "system 0", "true", notice("Please varify your AV installation"),
            "QS_GetSystemType");
        row("no installation", "", "echo TIER-B > /opt/Quillstone/etc/vardo-ver",
            notice("Please varify your Vardo installation"), "QS_GetSystemType");
        row("no guard", "", "rm -r /opt/Quillstone/var/run",
            notice("Unexpected error. Please check you home directory permissions"), "QS_GetSystemType");
        row("unreadable configuration", "result ReadConfiguration -1", "true",
            error("Error initializing Vardo"), "~Vardo");
        row("AV not loaded", "result VardoAVInit -1", "true", error("Error initializing AV"), "~Vardo");
    }

    void refusesWithAMessage()
    {
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, command);
        QCOMPARE(QProcess::execute("sh", {"-c", command}), 0);
        Start start(root, script);
        QCOMPARE(start.exitCode(), 255);
        QTEST(start.boxes(), "boxes");
        QCOMPARE(start.windows(), QStringList());
        QStringList calls = start.report();
        calls.removeIf([](const QString& line) { return line.startsWith("box "); });
        QTEST(calls.last(), "lastCall");
        QVERIFY(!fs::exists(paths::guardFile));
    }

    void smallScreenIsRefused()
    {
        for (const QSize size : {QSize(723, 1024), QSize(1024, 563)}) {
            Start start(root, "", size);
            QCOMPARE(start.exitCode(), 255);
            QCOMPARE(start.boxes().size(), 1);
            QVERIFY(start.boxes().front().contains("\"Please change your resolution ( minimum 800x600)\""));
            QCOMPARE(start.windows(), QStringList());
            QVERIFY(!fs::exists(paths::guardFile));
        }
    }

    void smallestScreenIsFilled()
    {
        Start start(root, "", {724, 564});
        QCOMPARE(start.exitCode(), 0);
        QCOMPARE(start.windows(), QStringList("window 0,0 724x564 fixed rounded"));
    }

    void ownExtensionsStay()
    {
        Start start(root, "options 0x400\nresult VardoAVInit -1");
        QCOMPARE(start.exitCode(), 255);
        QVERIFY(!start.report().contains("SetOption 6"));
        QVERIFY(!start.report().contains("SetScanOption 0x800"));

        Start failing(root, "result SetOption 1\nresult VardoAVInit -1");
        QCOMPARE(failing.exitCode(), 255);
        QVERIFY(failing.report().contains("SetOption 6"));
        QVERIFY(!failing.report().contains("SetScanOption 0x800"));
    }

    void unknownSignaturesGiveNoAlert()
    {
        Start start(root, "result GetQSAVInfo -1");
        QCOMPARE(start.exitCode(), 0);
        QVERIFY(start.report().filter("MakeAlert").isEmpty());
        QCOMPARE(start.boxes(), QStringList());
    }

    void userRunsOnOwnConfiguration()
    {
        Start start(userOfRootsGroup);
        QCOMPARE(start.exitCode(), 0);
        QVERIFY(fs::exists(ownConf));
        QVERIFY(start.report().contains(QString("Vardo ") + ownConf));
        QVERIFY(start.report().contains(QString("VardoAVInit %1 1").arg(ownConf)));
        QVERIFY(start.report().contains("GetQSAVInfo 1 /opt/Quillstone/etc/qsav.conf"));
    }

    void rootRunsOnTheSharedFilesWhateverTheGroup()
    {
        Start start(rootOfUsersGroup, "result VardoAVInit -1");
        QCOMPARE(start.exitCode(), 255);
        QVERIFY(start.report().contains(sharedEngine));
    }

    void kind4RunsOnTheSharedFiles()
    {
        sandbox::writeFile(paths::versionFile, "TIER-B MODULE-4");
        Start start(user);
        QCOMPARE(start.exitCode(), 0);
        QVERIFY(!fs::exists("/home/tester/.vardo"));
        QVERIFY(start.report().contains(sharedEngine));
    }

    void userWithoutHomeIsRefused()
    {
        sandbox::writeFile("/home/tester/.vardo", "in the way");
        Start start(user);
        QCOMPARE(start.exitCode(), 255);
        QCOMPARE(start.boxes(), error("Error initializing AV"));
        QVERIFY(start.report().filter("Vardo ").isEmpty());
        QVERIFY(!fs::exists(paths::guardFile));
    }

    void oneInstancePerMachine()
    {
        auto first = std::make_unique<Start>(root, "hold");
        QTRY_VERIFY_WITH_TIMEOUT(!first->windows().isEmpty(), 20'000);
        const std::string guard = std::to_string(first->pid());
        QCOMPARE(sandbox::readFile(paths::guardFile), guard);

        Start second(user);
        QCOMPARE(second.exitCode(), 255);
        QCOMPARE(second.boxes(), notice("Perhaps another insatnce of vardogui is already running."));
        QCOMPARE(sandbox::readFile(paths::guardFile), guard);
        // The configuration is chosen ahead of the guard.
        QVERIFY(fs::exists(ownConf));

        first.reset(); // killed
        QCOMPARE(sandbox::readFile(paths::guardFile), guard);
        Start third(user);
        QCOMPARE(third.exitCode(), 0);
        QVERIFY(!fs::exists(paths::guardFile));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestStartup, 0, 0)
#include "tst_startup.moc"
