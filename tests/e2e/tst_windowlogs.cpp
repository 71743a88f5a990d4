#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

/// The logs of real scans in the real window of an ordinary user.
class TestWindowLogs : public QObject
{
    Q_OBJECT

    static QList<SeenWidget::Row> listed(RealWindow& window)
    {
        return window.find("VMainWidget/lstScanLogs").rows;
    }

  private slots:
    void scanIsReadAndDeleted()
    {
        product::install("[Scan]\nAction=log\n[Log]\nLevel=all\n");
        sandbox::writeFile("/home/tester/caf\xc3\xa9", ServiceHome::marker().toStdString());
        RealWindow window({1000, 1000});
        QVERIFY(window.click("VMainWidget/lnkScanHome"));
        QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
        QVERIFY(window.waitForEnd("VProgressWidget"));
        const QByteArray log = product::onlyLog();
        QVERIFY(log.contains("/home/tester/caf\xc3\xa9"));

        QVERIFY(window.click("VMainWidget/lnkViewScanLog"));
        QVERIFY(window.waitFor("VMainWidget/lstScanLogs"));
        QCOMPARE(listed(window).size(), 1);
        window.clickAt(listed(window).front().place.center());
        QVERIFY(window.click("VMainWidget/btnViewScanLog"));
        QVERIFY(window.waitFor("VShowLogDialog"));
        window.press("ctrl+a");
        window.press("ctrl+c");
        QTRY_COMPARE(window.clipboard(), QString::fromLatin1(log).toUtf8());
        window.press("alt+c");
        QVERIFY(window.waitForEnd("VShowLogDialog"));

        QVERIFY(window.click("VMainWidget/btnDeleteScanLog"));
        QVERIFY(window.click("VMessageBox/&Yes"));
        QVERIFY(window.waitForEnd("VMessageBox"));
        QVERIFY(listed(window).isEmpty());
        QCOMPARE(product::onlyLog(), QByteArray());
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowLogs)
#include "tst_windowlogs.moc"
