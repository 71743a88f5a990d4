#include "base/paths.h"
#include "tests/support/rootmain.h"
#include "tests/support/sandbox.h"
#include "tests/tools/cron.h"
#include "tests/tools/desktop.h"
#include "tests/tools/schedulehome.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

#include <filesystem>

namespace fs = std::filesystem;
using namespace schedulehome;

namespace {

constexpr char cronDirectory[] = "/etc/cron.d";

// clang-format off
constexpr char hostileStore[] = R"sh(cd vardo; rm -f schedule.conf; cat >schedule.conf <<'END'
[x; touch /tmp/owned]
Frequency = "daily"
Minute = "* * * * * root touch /tmp/owned #"
Hour = "3%touch /tmp/owned"
Object1 = "/home/tester/files; touch /tmp/owned"
Object2 = "$(touch /tmp/owned)"
[`touch /tmp/owned`]
Frequency = "daily\n* * * * * root touch /tmp/owned"
Object1 = "/home/tester/files"
[%0A* * * * * root touch /tmp/owned]
Frequency = "hourly"
Minute = "0"
Object1 = "/home/tester/files"
END
)sh";
// clang-format on

/// The lines of cron's file that are not what they should be.
QStringList strangeLines()
{
    static const QRegularExpression good(
        "^(#.*|[A-Z]+=[-/:\"a-z]*|(@reboot|[0-9*]+ [0-9*]+ [-0-9*]+ [0-9*]+ [0-9*]+) root "
        "/opt/Quillstone/usr/bin/vardoscan --(missed|schedule=[0-9a-f]{16})|)$");
    QStringList strange;
    for (const QString& line : QString::fromStdString(sandbox::readFile(paths::cronFile)).split('\n'))
        if (!good.match(line).hasMatch())
            strange.append(line);
    return strange;
}

} // namespace

/// Scheduled scans under the real cron.
class TestCron : public QObject
{
    Q_OBJECT

  private slots:
    void init() { schedulehome::make(); }
    void cronRunsAJobAsRoot();
    void membersHaveRootRunNothing_data();
    void membersHaveRootRunNothing();
};

void TestCron::cronRunsAJobAsRoot()
{
    QVERIFY(save(jobNamed("at \"night\"; touch /tmp/owned % ü")));
    infect("bad");
    Desktop desktop;
    const Cron cron(1);
    QTRY_VERIFY_WITH_TIMEOUT(fs::exists(fs::path(paths::quarantine) / "bad"), 20000);
    QVERIFY(!isThere("bad") && !fs::exists("/tmp/owned"));
    QTRY_VERIFY(sandbox::readFile(paths::quarantineRecords).starts_with("bad~#^|~"));
    QByteArray shown;
    QTRY_VERIFY((shown += desktop.shown()).contains("Vardo found 1 infected file"));
}

void TestCron::membersHaveRootRunNothing_data()
{
    QTest::addColumn<QString>("script");
    const std::pair<const char*, const char*> rows[] = {
        {"names, times and objects that are commands", hostileStore},
        {"a cron file in the place of the store's",
         R"sh(cd vardo; rm -f qsschedule.cron; echo '* * * * * root touch /tmp/owned' >qsschedule.cron
            cp qsschedule.cron schedule.conf.new; mv schedule.conf.new schedule.conf)sh"},
        {"links to where cron reads",
         R"sh(cd vardo; for file in schedule.conf qsschedule.cron .lastScan .quarantined .quarantined_tmp; do
            rm -f $file; ln -s /etc/cron.d/owned $file; done
            rm -rf /var/Quillstone/var/log/vardo; ln -s /etc/cron.d /var/Quillstone/var/log/vardo)sh"},
        {"root's own files, renamed", R"sh(cd vardo; mv qsschedule.cron was; mv schedule.conf qsschedule.cron
            mv was schedule.conf)sh"},
        {"the directory of the store", R"sh(mv vardo elsewhere; ln -s /etc/cron.d vardo)sh"},
        {"other places for what root writes",
         R"sh(printf '[path]\nQuarantinePath = /etc/cron.d\nLocalSocketPath = /etc/cron.d/s\nAVSpidPATH = /etc/cron.d/p\n' >q
            mv -f q qsav.conf; printf '[Scan]\nAction = quarantine\nActionData = /etc/cron.d\n[Log]\nLocation = /etc\n' \
            >vardo/v; mv -f vardo/v vardo/vardo.conf)sh"},
    };
    for (const auto& [name, script] : rows)
        QTest::newRow(name) << QString(script);
}

/// Whatever a member puts where members can write, no command of the member's is run as root.
void TestCron::membersHaveRootRunNothing()
{
    QFETCH(QString, script);
    QVERIFY(save(jobNamed("before")));
    infect("* * * * * root touch ${HOME}owned", "\n* * * * * root touch /tmp/owned\n");
    for (const char* trace : {"/tmp/owned", "/tmp/cron-works"})
        fs::remove(trace);
    sandbox::writeFile(fs::path(cronDirectory) / "control", "* * * * * root touch /tmp/cron-works\n");
    member("cd /opt/Quillstone/etc; " + script.toStdString());
    save(jobNamed("after")); // which may be refused
    vardoscan({"--remake-cron"});
    const Cron cron(40);
    QTRY_VERIFY_WITH_TIMEOUT(fs::exists("/tmp/cron-works"), 20000);
    QTest::qWait(3500); // two minutes of cron's
    QVERIFY(!fs::exists("/tmp/owned"));
    QCOMPARE(strangeLines(), QStringList());
    for (const fs::directory_entry& entry : fs::directory_iterator(cronDirectory))
        QVERIFY2(entry.path().filename() == "control" || entry.path().filename() == "vardo",
                 entry.path().c_str());
}

VARDO_ROOT_TEST_MAIN(TestCron)
#include "tst_cron.moc"
