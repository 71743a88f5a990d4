#include "base/databasename.h"
#include "base/signaturefolder.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"
#include "tests/updates/updateworld.h"

#include <QTest>

#include <unistd.h>

using namespace updateworld;

/// Updates that are killed between any two of their steps, all processes at once.
class KilledUpdateTest : public QObject
{
    Q_OBJECT

  private slots:
    void initTestCase() { sandbox::makeInstallation(); }

    void leavesTheOldSetOrTheNewOne_data();
    void leavesTheOldSetOrTheNewOne();
};

namespace {

/// The version of the set as whoever loads it finds it, when it is whole; -1 when it is not.
int readableVersion(const Machine& machine)
{
    const fs::path folder = base::signatureFolder(machine.live());
    int version = 0;
    for (const QString& name : namesIn(folder)) {
        if (name != "test.cvd" && name != "test.cld")
            continue;
        const std::string head = sandbox::readFile(folder / name.toStdString()).substr(0, 512);
        version = version != 0 ? -1 : static_cast<int>(base::databaseVersion(head).value_or(0));
    }
    return fs::exists(folder / "own.hdb") ? version : -1;
}

void update(const Machine& machine, int killAt, bool exchange, QProcess& process)
{
    QProcessEnvironment environment;
    environment.insert("LD_PRELOAD", KILLING_STEPS);
    environment.insert("ASAN_OPTIONS", "verify_asan_link_order=0"); // where the program was built with it
    environment.insert("VARDO_KILL_AT", QString::number(killAt));
    if (!exchange)
        environment.insert("VARDO_NO_EXCHANGE", "1");
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(UPDATENOW, machine.arguments());
    QVERIFY(process.waitForFinished());
}

} // namespace

void KilledUpdateTest::leavesTheOldSetOrTheNewOne_data()
{
    QTest::addColumn<bool>("exchange");
    QTest::newRow("at one blow") << true;
    QTest::newRow("file by file") << false;
}

void KilledUpdateTest::leavesTheOldSetOrTheNewOne()
{
    QFETCH(bool, exchange);
    const Mirror mirror;
    mirror.publish(3);
    const Machine machine(mirror.address());
    bool killed = true;
    int versions[4] = {};
    for (int step = 1; killed; ++step) {
        fs::remove_all(machine.root / "lib");
        fs::create_directories(machine.live());
        sandbox::writeFile(machine.live() / "own.hdb", "mine");
        machine.install(1);
        QProcess process;
        update(machine, step, exchange, process);
        killed = process.exitStatus() == QProcess::CrashExit;
        const int version = readableVersion(machine);
        QVERIFY2(version == 1 || version == 3, qPrintable(QString("step %1: %2").arg(step).arg(version)));
        ++versions[version];
        QCOMPARE(machine.update().code, 0);
        QCOMPARE(readableVersion(machine), 3);
        QCOMPARE(machine.leftovers(), "");
    }
    // Enough of both to know that the kills came before and after the blow.
    QVERIFY(versions[1] > 10 && versions[3] > 5);
}

VARDO_ROOT_TEST_MAIN(KilledUpdateTest)

#include "tst_killedupdate.moc"
