#include "base/paths.h"
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

constexpr QSize usual(800, 600);
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
    explicit Start(sandbox::Ids ids, const char* script = "", QSize screen = usual, const char* factor = "1")
    {
        sandbox::writeFile("/tmp/script", script);
        fs::remove(reportFile);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen:configfile=" + screenFile(screen));
        environment.insert("QT_SCALE_FACTOR", factor);
        environment.insert("START_SCRIPT", "/tmp/script");
        environment.insert("LOCPATH", "/tmp/locale");
        environment.insert("LC_ALL", "de_DE.UTF-8");
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

QStringList box(const QString& text, const char* button)
{
    return {QString("box \"%1\" %2").arg(text, button)};
}

/// A start that is refused: with which box, after which call of the engine, and why.
struct Refusal
{
    const char* name;
    const char* text;
    const char* button;
    const char* lastCall;
    const char* script = "";
    const char* command = "true";
    sandbox::Ids ids = root;
    QSize screen = usual;
};

constexpr char noAV[] = "Error initializing AV";
constexpr char smallScreen[] = "Please change your resolution ( minimum 800x600)";
constexpr char first[] = "QS_GetSystemType";
const Refusal refusals[] = {
    {"no engine", "Please varify your AV installation", "2:Ok", first, "system 0"},
    {"no installation", "Please varify your Vardo installation", "2:Ok", first, "",
     "echo TIER-B > /opt/Quillstone/etc/vardo-ver"},
    {"no guard", "Unexpected error. Please check you home directory permissions", "2:Ok", first, "",
     "rm -r /opt/Quillstone/var/run"},
    {"home is the root", noAV, "1:Ok", first, "", "true", {1001, 1001}},
    {"no such user", noAV, "1:Ok", first, "", "true", {4242, 1000}},
    {"home in use", noAV, "1:Ok", first, "", "touch /home/tester/.vardo", user},
    {"no configuration", "Error initializing Vardo", "1:Ok", "~Vardo", "result ReadConfiguration -1"},
    {"AV not loaded", noAV, "1:Ok", "~Vardo", "result VardoAVInit -1"},
    {"narrow screen", smallScreen, "1:Ok", "~Vardo", "", "true", root, {723, 1024}},
    {"low screen", smallScreen, "1:Ok", "~Vardo", "", "true", root, {1024, 563}},
};

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase()
    {
        fs::create_directory("/tmp/locale"); // a desktop that writes 1,5
        QCOMPARE(QProcess::execute("localedef", {"-i", "de_DE", "-f", "UTF-8", "/tmp/locale/de_DE.UTF-8"}),
                 0);
    }

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
            "ScanError",
            "GetOption 4",
            "VardoIsAVLoaded",
        };
        const QStringList report = start.report();
        QCOMPARE(report.mid(0, expected.size()), expected);
        QCOMPARE(start.windows(), QStringList("window 38,18 724x564 fixed rounded ,. 1"));
        QCOMPARE(report.mid(report.size() - 3), QStringList({"~window", "~Vardo", "~application"}));
        QVERIFY(!fs::exists(paths::guardFile));
    }

    void refusesWithAMessage_data()
    {
        QTest::addColumn<const Refusal*>("refusal");
        for (const Refusal& refusal : refusals)
            QTest::newRow(refusal.name) << &refusal;
    }

    /// Each with its box, the code of a failure, and everything taken down again.
    void refusesWithAMessage()
    {
        QFETCH(const Refusal*, refusal);
        QCOMPARE(QProcess::execute("sh", {"-c", refusal->command}), 0);
        Start start(refusal->ids, refusal->script, refusal->screen);
        QCOMPARE(start.exitCode(), 255);
        QCOMPARE(start.boxes(), box(refusal->text, refusal->button));
        QCOMPARE(start.windows(), QStringList());
        if (refusal->text != smallScreen)
            QTRY_COMPARE(sandbox::recordedCalls().size(), std::size_t(1)); // the cause, by a notification
        QStringList calls = start.report();
        calls.removeIf([](const QString& line) { return line.startsWith("box "); });
        QCOMPARE(calls.takeLast(), "~application");
        QCOMPARE(calls.last(), refusal->lastCall);
        QVERIFY(!fs::exists(paths::guardFile));
    }

    void smallestScreenIsFilled()
    {
        Start start(root, "", {724, 564});
        QCOMPARE(start.exitCode(), 0);
        QCOMPARE(start.windows(), QStringList("window 0,0 724x564 fixed rounded ,. 1"));
    }

    void largeFactorGivesWay_data()
    {
        QTest::addColumn<QSize>("screen");
        QTest::addColumn<QByteArray>("factor");
        QTest::addColumn<QString>("window");
        QTest::newRow("twice") << QSize(1920, 1080) << QByteArray("2") << "139,0 724x564";
        QTest::newRow("one and a half") << QSize(1366, 768) << QByteArray("1.5") << "139,0 724x564";
        QTest::newRow("own pixels") << QSize(724, 564) << QByteArray("3") << "0,0 724x564";
        QTest::newRow("fits") << QSize(2560, 1600) << QByteArray("2") << "278,118 724x564";
    }

    /// Of a screen that has the pixels, the desktop's factor leaves enough; what is started has the
    /// desktop's.
    void largeFactorGivesWay()
    {
        QFETCH(QSize, screen);
        QFETCH(QByteArray, factor);
        QFETCH(QString, window);
        Start start(root, "", screen, factor);
        QCOMPARE(start.exitCode(), 0);
        QCOMPARE(start.boxes(), QStringList());
        QCOMPARE(start.windows(), QStringList("window " + window + " fixed rounded ,. " + factor));
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

    void oldSignaturesAreOfferedAnUpdate()
    {
        const QString age = "Virus database is more than 15 days older./";
        Start ofRoot(root, "result MakeAlert 1\nresult DoUpdate -2");
        QCOMPARE(ofRoot.exitCode(), 0);
        QCOMPARE(ofRoot.boxes(), box(age + "Should the virus signatures be updated now?", "3:&Yes 4:&No") +
                                     box("Error getting update lock", "1:Ok"));
        QCOMPARE(ofRoot.windows().size(), 1);

        Start ofUser(rootOfUsersGroup, "result MakeAlert 1");
        QCOMPARE(ofUser.exitCode(), 0);
        QCOMPARE(ofUser.boxes(), box(age + "Login as root to download update.", "1:Ok"));
        QCOMPARE(ofUser.report().filter("DoUpdate"), QStringList());
    }

    void choosesTheConfigurationByTheUser()
    {
        Start ofUser(userOfRootsGroup);
        QCOMPARE(ofUser.exitCode(), 0);
        QVERIFY(fs::exists(ownConf));
        for (const char* call : {"Vardo %1", "VardoAVInit %1 1"})
            QVERIFY(ofUser.report().contains(QString(call).arg(ownConf)));
        QVERIFY(ofUser.report().contains("GetQSAVInfo 1 /opt/Quillstone/etc/qsav.conf"));

        Start ofRoot(rootOfUsersGroup, "result VardoAVInit -1");
        QCOMPARE(ofRoot.exitCode(), 255);
        QVERIFY(ofRoot.report().contains(sharedEngine));

        fs::remove_all("/home/tester/.vardo");
        sandbox::writeFile(paths::versionFile, "TIER-B MODULE-4");
        Start ofKind4(user);
        QCOMPARE(ofKind4.exitCode(), 0);
        QVERIFY(!fs::exists("/home/tester/.vardo"));
        QVERIFY(ofKind4.report().contains(sharedEngine));
    }

    void oneInstancePerMachine()
    {
        auto first = std::make_unique<Start>(root, "hold");
        QTRY_VERIFY_WITH_TIMEOUT(!first->windows().isEmpty(), 20'000);
        const std::string guard = std::to_string(first->pid());
        QCOMPARE(sandbox::readFile(paths::guardFile), guard);

        Start second(user);
        QCOMPARE(second.exitCode(), 255);
        QCOMPARE(second.boxes(), box("Perhaps another insatnce of vardogui is already running.", "2:Ok"));
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
