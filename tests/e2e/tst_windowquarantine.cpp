#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <QDir>

namespace {

constexpr int patience = 20'000;
constexpr char quarantine[] = "/var/Quillstone/var/quarantine/vardo";

QStringList filesIn(const QString& directory)
{
    return QDir(directory).entryList(QDir::Files);
}

} // namespace

/// The list of quarantined files in the real window of an ordinary user.
class TestWindowQuarantine : public QObject
{
    Q_OBJECT

    static QStringList listed(RealWindow& window)
    {
        QStringList names;
        for (const SeenWidget::Row& row : window.find("VMainWidget/lstQuarantine").rows)
            names << row.texts.value(0) + ' ' + row.texts.value(2) + ' ' + row.texts.value(3);
        names.sort();
        return names;
    }

  private slots:
    void listsWhatTheCommandLineQuarantined()
    {
        product::install("[Scan]\nAction=quarantine\n");
        for (const char* name : {"bad", "caf\xe9", "worse"})
            sandbox::writeFile(std::string("/home/tester/") + name, ServiceHome::marker().toStdString());
        RealWindow window({1000, 1000});
        QVERIFY(window.click("VMainWidget/lnkQuarantine"));
        QVERIFY(window.waitFor("VMainWidget/lstQuarantine"));
        QStringList command; // as cron gives it, beside the window
        for (const std::string& word :
             sandbox::asUser({1000, 1000}, {"/opt/Quillstone/usr/bin/vardoscan", "--quiet",
                                            "--action=quarantine", "/home/tester"}))
            command << QString::fromStdString(word);
        const QString program = command.takeFirst();
        QCOMPARE(QProcess::execute(program, command), 1);
        QVERIFY(window.click("VMainWidget/btnQuarRefresh"));
        QTRY_COMPARE_WITH_TIMEOUT(
            listed(window),
            QStringList({"bad 40 Vardo.Marker", "caf\uFFFD 40 Vardo.Marker", "worse 40 Vardo.Marker"}),
            patience);
        QCOMPARE(filesIn(QString(quarantine) + "/.restore").size(), 3);

        QVERIFY(window.click("VMainWidget/btnDeleteAllQuar"));
        QVERIFY(window.click("VMessageBox/&Yes"));
        QVERIFY(window.waitForEnd("VMessageBox"));
        QTRY_COMPARE_WITH_TIMEOUT(listed(window), QStringList(), patience);
        QCOMPARE(filesIn(quarantine), QStringList());
        QCOMPARE(filesIn(QString(quarantine) + "/.restore"), QStringList());
        QCOMPARE(product::quarantineRecords(), QByteArray());
        QVERIFY(window.click("VMainWidget/btnCancelQuarantine"));
        QVERIFY(window.click("VMainWidget/btnClose"));
        QCOMPARE(window.exitCode(), 0);
    }
};

VARDO_WINDOW_TEST_MAIN(TestWindowQuarantine)
#include "tst_windowquarantine.moc"
