#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <QFile>

#include <csignal>

namespace {

constexpr char guardFile[] = "/opt/Quillstone/var/run/vardogui.pid";
constexpr char settings[] = "[Scan]\nAction=quarantine\n[Log]\nLevel=all\n";

QByteArray guard()
{
    return QByteArray::fromStdString(sandbox::readFile(guardFile));
}

bool isOpen(RealWindow& window)
{
    return window.waitFor("VMainWidget") && guard() == QByteArray::number(window.pid());
}

} // namespace

class TestWindowStart : public QObject
{
    Q_OBJECT

  private slots:
    void worksForEverybody_data();
    void worksForEverybody();
    void refusesASecondInstance();
    void takesOverFromAKilledInstance();
    void waitsForTheEngine();
};

void TestWindowStart::worksForEverybody_data()
{
    QTest::addColumn<unsigned int>("user");
    QTest::addColumn<QByteArray>("home");
    QTest::newRow("root") << 0u << QByteArray("/root");
    QTest::newRow("ordinary user") << 1000u << QByteArray("/home/tester");
}

void TestWindowStart::worksForEverybody()
{
    QFETCH(unsigned int, user);
    QFETCH(QByteArray, home);
    product::install(settings);
    sandbox::writeFile((home + "/bad").constData(), ServiceHome::marker().toStdString());
    RealWindow window({user, user});
    QVERIFY(isOpen(window));
    QCOMPARE(QFile::exists(home + "/.vardo/vardo.conf"), user != 0);
    QCOMPARE(window.find("VMainWidget/btnScheduler").exists, user == 0);
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.waitFor("VScanStatisticsDialog"));
    QCOMPARE(window.text("VScanStatisticsDialog/lblQuarantinedValue"), "1");
    QVERIFY(!QFile::exists(home + "/bad"));
    QVERIFY(QFile::exists("/var/Quillstone/var/quarantine/vardo/bad"));
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.waitForEnd("VProgressWidget"));
    QVERIFY(product::service(user) > 0); // warm for the next scan
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
    QVERIFY(!QFile::exists(guardFile));
}

void TestWindowStart::refusesASecondInstance()
{
    product::install(settings);
    RealWindow first;
    QVERIFY(isOpen(first));
    for (const sandbox::Ids user : {sandbox::Ids{0, 0}, sandbox::Ids{1000, 1000}}) {
        RealWindow second(user);
        QVERIFY(second.waitFor("VMessageBox"));
        QCOMPARE(second.texts("VMessageBox"),
                 QStringList("Perhaps another insatnce of vardogui is already running."));
        QVERIFY(second.click("VMessageBox/Ok"));
        QCOMPARE(second.exitCode(), 255);
    }
    QVERIFY(isOpen(first));
}

void TestWindowStart::takesOverFromAKilledInstance()
{
    product::install(settings);
    RealWindow first;
    QVERIFY(isOpen(first));
    const QByteArray left = guard();
    first.kill();
    QCOMPARE(guard(), left);
    RealWindow second;
    QVERIFY(isOpen(second));
}

void TestWindowStart::waitsForTheEngine()
{
    product::install(settings);
    RealWindow first;
    QVERIFY(isOpen(first));
    first.kill();
    const pid_t service = product::service();
    QCOMPARE(::kill(service, SIGSTOP), 0);

    RealWindow window;
    const QString dialog = "AVInitializer";
    const QString status = dialog + "/lblAVInit";
    QTRY_COMPARE_WITH_TIMEOUT(window.text(status), "Initializing AV! Wait...", 30'000);
    QVERIFY(window.click(dialog, {5, 5}));
    window.press("alt+F4");
    window.slowestAnswer();
    QVERIFY(window.find(dialog).exists && !window.find(dialog + "/btnStop").exists);
    QVERIFY(window.slowestAnswer() < RealWindow::lively);

    QCOMPARE(::kill(service, SIGCONT), 0);
    QVERIFY(isOpen(window));
    QVERIFY(!QFile::exists("/opt/Quillstone/etc/vardo/.lastScan"));
}

VARDO_WINDOW_TEST_MAIN(TestWindowStart)
#include "tst_windowstart.moc"
