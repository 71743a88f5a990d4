#include "tests/e2e/realwindow.h"
#include "tests/qsavd/servicehome.h"

#include <filesystem>

namespace fs = std::filesystem;

/// A scan of what the user marks in the tree.
class TestWindowSelection : public QObject
{
    Q_OBJECT

  private slots:
    void scansWhatIsMarkedAndNothingElse();
};

void TestWindowSelection::scansWhatIsMarkedAndNothingElse()
{
    product::install("[Scan]\nAction=quarantine\n[Log]\nLevel=all\n");
    const fs::path home = "/home/tester";
    fs::create_directories(home / "folder/deep");
    // The two names that are not UTF-8 look the same on the screen; the second row of them is clicked.
    const std::vector<std::string> marked = {"caf\xE9", "chosen", "folder/deep/bad", "folder/bad"};
    const std::vector<std::string> others = {"caf\xE8", "other"};
    for (const auto* names : {&marked, &others}) {
        for (const std::string& name : *names)
            sandbox::writeFile(home / name, ServiceHome::marker().toStdString());
    }

    RealWindow window;
    const QString tree = "VObjectSelectionDialog/lstDirView";
    constexpr int expander = -10; // from the picture
    QVERIFY(window.click("VMainWidget/lnkSelect"));
    QVERIFY(window.clickRow(tree, "home", expander));
    QVERIFY(window.clickRow(tree, "tester", expander));
    for (const char* name : {"caf\uFFFD", "chosen", "folder"})
        QVERIFY(window.clickRow(tree, name));
    QVERIFY(window.click("VObjectSelectionDialog/btnScan"));
    QVERIFY(window.waitFor("VScanStatisticsDialog"));
    QCOMPARE(window.text("VScanStatisticsDialog/lblObjsValue").toInt(), 4);
    QVERIFY(window.click("VScanStatisticsDialog/btnOk"));
    QVERIFY(window.waitForEnd("VProgressWidget"));

    for (const std::string& name : marked)
        QVERIFY2(!fs::exists(home / name), name.c_str());
    for (const std::string& name : others)
        QVERIFY2(fs::exists(home / name), name.c_str());
    QByteArrayList records;
    for (const QByteArray& record : product::quarantineRecords().trimmed().split('\n'))
        records << record.left(record.indexOf('~'));
    QCOMPARE(records, QByteArrayList({"caf\xE9", "chosen", "bad", "bad-0"}));
    QVERIFY2(product::onlyLog().contains("\n\n"
                                         "/home/tester/caf\xE9 QUARANTINED [Vardo.Marker]\n"
                                         "/home/tester/chosen QUARANTINED [Vardo.Marker]\n"
                                         "Scanning directory /home/tester/folder\n"
                                         "/home/tester/folder/bad QUARANTINED [Vardo.Marker]\n"
                                         "Scanning directory /home/tester/folder/deep\n"
                                         "/home/tester/folder/deep/bad QUARANTINED [Vardo.Marker]\n"
                                         "-----"),
             product::onlyLog());
    QVERIFY(window.click("VMainWidget/btnClose"));
    QCOMPARE(window.exitCode(), 0);
}

VARDO_WINDOW_TEST_MAIN(TestWindowSelection)
#include "tst_windowselection.moc"
