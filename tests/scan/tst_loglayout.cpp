#include "scan/loglayout/scanlog.h"
#include "tests/support/scriptedengine.h"

#include <QTest>

class TestLogLayout : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};

    QString configuration()
    {
        scriptedEngine().clearJournal();
        const std::size_t before = scriptedEngine().logText().size();
        engine.LogInit(nullptr, -1);
        if (const auto read = scanlog::readConfiguration(engine))
            scanlog::writeConfiguration(*read);
        CloseLog();
        return QString::fromStdString(scriptedEngine().logText().substr(before));
    }

    /// The configuration block's line of this caption.
    QString row(const QString& caption)
    {
        for (const QString& line : configuration().split('\n')) {
            if (line.startsWith(caption))
                return line;
        }
        return {};
    }

    static QStringList reads()
    {
        QStringList ids;
        for (const std::string& call : scriptedEngine().journal()) {
            if (call.starts_with("GetOption "))
                ids << QString::fromStdString(call.substr(10));
        }
        return ids;
    }

  private slots:
    void init() { scriptedEngine().reset(); }

    void bannerStandsBetweenAsterisks()
    {
        engine.LogInit(nullptr, -1);
        scanlog::writeBanner();
        const QString text = QString::fromStdString(scriptedEngine().logText());
        const QString asterisks(55, '*');
        QVERIFY(text.startsWith(asterisks + "\n\t  Vardo Anti-Virus for Linux\n"));
        QVERIFY(text.endsWith('\n' + asterisks + "\n\n"));
        const QStringList lines = text.split('\n');
        QCOMPARE(lines.size(), 7);
        QVERIFY(!lines[2].trimmed().isEmpty());
        QVERIFY(lines[3].startsWith("\t "));
        QVERIFY(lines[3].contains("http"));
    }

    void plainScanTellsItsSwitches()
    {
        const QString dashes(55, '-');
        QCOMPARE(configuration(), dashes + "\n\t\tScan Configuration\n" + dashes +
                                      "\n"
                                      "Scan packed\t\t\t: Yes\n"
                                      "Scan archives\t\t\t: Yes\n"
                                      "Scan mails\t\t\t: Yes\n"
                                      "Use heuristics scanning\t\t: Yes\n"
                                      "Recursive\t\t\t: Yes\n"
                                      "Follow symbolic links\t\t: No\n"
                                      "Cross file system\t\t: No\n"
                                      "Scan action\t\t\t: Log only\n"
                                      "Log level\t\t\t: 2\n"
                                      "\n");
        QCOMPARE(reads(), QStringList({"11", "1", "2"}));
    }

    void everySwitchShowsItsOtherSide()
    {
        scriptedEngine().held.scanOpts = 0x37c;
        const QStringList lines = configuration().split('\n').mid(3, 7);
        QStringList words;
        for (const QString& line : lines)
            words << line.section(": ", 1);
        QCOMPARE(words, QStringList({"No", "No", "No", "No", "No", "Yes", "Yes"}));
    }

    void limitsAreToldWhenTheyApply()
    {
        scripted::ScanOptions& held = scriptedEngine().held;
        held.scanOpts = SCANFLAG_INCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_EXTENSIONS | SCANFLAG_EXCLUDE_DIRS |
                        SCANFLAG_MAX_DEPTH | SCANFLAG_MAX_SIZE;
        held.extensions = "exe,com";
        held.excludeDirs = "/proc";
        held.maxDepth = 200;
        held.maxSize = 5'000'000'000;
        QVERIFY(configuration().contains("Scan extensions\t\t\t: exe,com\n"
                                         "Exclude directories\t\t: /proc\n"
                                         "Max recursion depth\t\t: 200\n"
                                         "Max file scan size\t\t: 5000000000\n"
                                         "Log level"));
        QCOMPARE(reads(), QStringList({"11", "1", "2", "6", "6", "7", "8", "9"}));
        held.scanOpts = SCANFLAG_EXCLUDE_EXTENSIONS | SCANFLAG_MAX_DEPTH | SCANFLAG_NO_RECURSE;
        QVERIFY(configuration().contains("Exclude extensions\t\t: exe,com\nLog level"));
    }

    void actionHasItsWordAndItsPath_data()
    {
        QTest::addColumn<unsigned>("action");
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("path");
        QTest::newRow("log") << 0U << "Log only"
                             << "";
        QTest::newRow("delete") << 1U << "Delete"
                                << "";
        QTest::newRow("rename") << 2U << "Rename"
                                << "Rename path\t\t\t: /q";
        QTest::newRow("quarantine") << 3U << "Quarantine"
                                    << "Quarantine path\t\t\t: /q";
        QTest::newRow("prompt") << 4U << "Prompt"
                                << "";
        QTest::newRow("unknown") << 5U << "Unknown"
                                 << "";
    }

    void actionHasItsWordAndItsPath()
    {
        QFETCH(unsigned, action);
        QFETCH(QString, word);
        QFETCH(QString, path);
        scriptedEngine().held.action = action;
        scriptedEngine().held.actData = "/q";
        QCOMPARE(row("Scan action"), "Scan action\t\t\t: " + word);
        QCOMPARE(row("Rename path") + row("Quarantine path"), path);
        scriptedEngine().held.scanOpts = SCANFLAG_DISINFECT;
        const QString cure = action == 0 ? "Disinfect-Log" : action < 5 ? "Disinfect-" + word : word;
        QCOMPARE(row("Scan action"), "Scan action\t\t\t: " + cure);
    }

    void refusedOptionCostsTheBlock()
    {
        scriptedEngine().held.scanOpts = SCANFLAG_MAX_SIZE;
        scriptedEngine().setResult("GetOption 9", -1);
        QCOMPARE(configuration(), "");
        QCOMPARE(reads(), QStringList({"11", "1", "2", "9"}));
    }

    void statisticsCountSuccessfulActions()
    {
        // Each counter has a digit of its own.
        const QS_InterfaceScanStatistics stats = {1,   2,    777,  777, 3,  10,  4, 40'000,
                                                  100, 1000, 5000, 5,   66, 777, 88};
        engine.LogInit(nullptr, -1);
        scanlog::writeStatistics(stats);
        QCOMPARE(QString::fromStdString(scriptedEngine().logText()),
                 "--------------------Scan Statistics--------------------\n"
                 "Scanned directories\t\t1\n"
                 "Scanned objects\t\t\t2\n"
                 "Infected objects\t\t6110\n"
                 "Suspicious objects\t\t3\n"
                 "Disinfected objects\t\t10\n"
                 "Uncurable objects\t\t4\n"
                 "Viruses found\t\t\t6110\n"
                 "Deleted objects\t\t\t100\n"
                 "Rename objects\t\t\t1000\n"
                 "Quarantined objects\t\t5000\n"
                 "Corrupt objects\t\t\t5\n"
                 "Encrypted objects\t\t66\n"
                 "Actions failed\t\t\t88\n"
                 "-------------------------------------------------------\n");
        for (const scripted::LogLine& line : scriptedEngine().log())
            QCOMPARE(line.level, LOGLEVEL_MINIMUM);
    }

    void virusesAreNeverMoreThanInfectedObjects()
    {
        QS_InterfaceScanStatistics stats{};
        stats.scInfected = stats.scVirus = 3;
        QCOMPARE(scanlog::infectedCount(stats), 0U);
        QCOMPARE(scanlog::virusCount(stats), 0U);
        stats.scDeleted = 5;
        QCOMPARE(scanlog::virusCount(stats), 3U);
    }
};

QTEST_GUILESS_MAIN(TestLogLayout)
#include "tst_loglayout.moc"
