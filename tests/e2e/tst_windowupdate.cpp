#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"
#include "tests/updates/updateworld.h"

#include <cstdio>
#include <filesystem>

#include <sys/wait.h>

namespace fs = std::filesystem;

/// An update from the window to the next scan's finds.
class TestWindowUpdate : public QObject
{
    Q_OBJECT

    /// How many files of root's home a scan from the window quarantines.
    static QString quarantined(RealWindow& window)
    {
        if (!window.click("VMainWidget/btnScan") || !window.click("VMainWidget/lnkScanHome") ||
            !window.waitFor("VScanStatisticsDialog"))
            return "no scan";
        const QString count = window.text("VScanStatisticsDialog/lblQuarantinedValue");
        const bool closed =
            window.click("VScanStatisticsDialog/btnOk") && window.waitForEnd("VProgressWidget");
        return closed ? count : "no end";
    }

  private slots:
    void nextScanFindsByTheNewSet()
    {
        product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n[Alert]\nWarnOldSignatures=no\n");
        const fs::path signatures = "/var/Quillstone/var/lib/signatures";
        sandbox::writeFile(signatures / "test.ndb",
                           "Vardo.Marker:0:*:" + ServiceHome::marker().toHex().toStdString() + '\n');
        // Version 3 is the first that knows it.
        sandbox::writeFile("/root/sample", ServiceHome::testFile().toStdString());
        sandbox::writeFile("/opt/Quillstone/etc/vardo/.lastScan", "20/11/2026 18:30\n");
        const updateworld::Mirror mirror;
        mirror.publish(3);
        fs::copy_file(updateworld::database(2), signatures / "test.cvd");
        sandbox::writeFile("/opt/Quillstone/etc/updates.conf",
                           "[Update]\nServer=http://" + mirror.address() + "\nDatabases=test\n");
        RealWindow window;
        QVERIFY(window.waitFor("VMainWidget"));
        QTest::qWait(500); // for the click that the window makes itself
        QCOMPARE(quarantined(window), "0");
        const QString before = window.text("VMainWidget/lnkUpdateNow");

        // Output that nobody reads holds it up.
        fs::create_directories("/srv/tree");
        for (int number = 0; number < 3000; ++number)
            sandbox::writeFile("/srv/tree/a file with quite a long name " + std::to_string(number), "");
        sandbox::writeFile("/srv/tree/the sample", ServiceHome::testFile().toStdString());
        std::FILE* scan = ::popen("/opt/Quillstone/usr/bin/vardoscan --action=log --all /srv/tree", "r");
        QVERIFY(scan && std::fgetc(scan) == '/');

        QVERIFY(window.click("VMainWidget/btnUpdate") && window.click("VMainWidget/lnkUpdateNow1"));
        QVERIFY(window.waitFor("VMessageBox/Ok"));
        QVERIFY2(window.texts("VMessageBox").join("").contains("Vardo database has been updated."),
                 qPrintable(window.texts("VMessageBox").join("\n")));
        QVERIFY(window.click("VMessageBox/Ok") && window.waitForEnd("VUpdateDialog"));
        QTRY_VERIFY(window.text("VMainWidget/lnkUpdateNow") != before);
        const pid_t service = product::service();
        QString found = "0";
        for (int attempt = 0; found == "0" && attempt < 10; ++attempt) {
            QTest::qWait(500);
            found = quarantined(window);
        }
        QCOMPARE(found, "1");
        QCOMPARE(product::service(), service);

        QByteArray rest;
        for (int c = 0; (c = std::fgetc(scan)) != EOF;)
            rest += static_cast<char>(c);
        QCOMPARE(WEXITSTATUS(::pclose(scan)), 0);
        QVERIFY(rest.contains("/srv/tree/the sample CLEAN\n"));
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowUpdate)
#include "tst_windowupdate.moc"
