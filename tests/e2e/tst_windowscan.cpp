#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

class TestWindowScan : public QObject
{
    Q_OBJECT

  private slots:
    void scansAndQuarantines();
};

void TestWindowScan::scansAndQuarantines()
{
    product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n");
    sandbox::writeFile("/root/bad", ServiceHome::marker().toStdString());
    RealWindow window;
    QVERIFY(window.click("VMainWidget/lnkScanHome"));
    QVERIFY(window.waitFor("VScanStatisticsDialog"));
    QCOMPARE(window.text("VScanStatisticsDialog/lblQuarantinedValue"), "1");
    QVERIFY(product::onlyLog().contains("/root/bad QUARANTINED [Vardo.Marker]\n"));
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
}

VARDO_WINDOW_TEST_MAIN(TestWindowScan)
#include "tst_windowscan.moc"
