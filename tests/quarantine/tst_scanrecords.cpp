#include "base/paths.h"
#include "quarantine/record.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QProcess>
#include <QTest>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr char marker[] = "a text that stands for something harmful";

std::vector<std::string> recordedNames()
{
    std::vector<std::string> names;
    for (const auto& record : quarantine::parseRecords(sandbox::readFile(paths::quarantineRecords)))
        names.push_back(record.name);
    return names;
}

} // namespace

/// The command line scanner and the service, installed at their fixed places.
class TestScanRecords : public QObject
{
    Q_OBJECT

    QProcess scanner;

    int scan(QStringList options)
    {
        for (const char* directory : {"/home/tester/a", "/home/tester/b"}) {
            fs::create_directories(directory);
            sandbox::writeFile(fs::path(directory) / "caf\xe9", marker);
        }
        scanner.start("/opt/Quillstone/usr/bin/vardoscan", options << "--action=quarantine"
                                                                   << "/home/tester");
        return scanner.waitForFinished() ? scanner.exitCode() : -1;
    }

  private slots:
    void whatIsQuarantinedIsRecordedOrTold()
    {
        sandbox::makeInstallation();
        sandbox::writeFile("/var/Quillstone/var/lib/signatures/marker.ndb",
                           "Vardo.Marker:0:*:" + QByteArray(marker).toHex().toStdString() + '\n');
        QCOMPARE(scan({}), 1);
        QCOMPARE(recordedNames(), std::vector<std::string>({"caf\xe9", "caf\xe9-0"}));
        QCOMPARE(scanner.readAllStandardError(), QByteArray());

        QCOMPARE(scan({"--quarantine-dir=/home/tester/jail"}), 1);
        QVERIFY(fs::exists("/home/tester/jail/caf\xe9-0"));
        QCOMPARE(recordedNames().size(), std::size_t(2)); // the window does not list that directory

        fs::remove_all("/home/tester/jail");
        fs::remove(paths::quarantineRecords);
        fs::create_directory(paths::quarantineRecords);
        QCOMPARE(scan({}), 1);
        QVERIFY(fs::exists(fs::path(paths::quarantine) / "caf\xe9-2"));
        QCOMPARE(scanner.readAllStandardError(),
                 QByteArray("vardoscan: 2 quarantined files could not be noted in the quarantine list\n"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestScanRecords, 1000, 1000)
#include "tst_scanrecords.moc"
