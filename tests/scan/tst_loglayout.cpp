#include "loglayout/scanlog.h"
#include "tests/support/scriptedengine.h"

#include <QTest>

class TestLogLayout : public QObject
{
    Q_OBJECT

    Vardo engine{"/none"};

    /// What the configuration block of the options now held looks like.
    QString configuration()
    {
        engine.LogInit(nullptr, -1);
        const std::size_t before = scriptedEngine().logText().size();
        if (const auto read = scanlog::readConfiguration(engine))
            scanlog::writeConfiguration(*read);
        return QString::fromStdString(scriptedEngine().logText().substr(before));
    }

  private slots:
    void init() { scriptedEngine().reset(); }

    void wholeLog()
    {
        // Each counter has a digit of its own.
        const QS_InterfaceScanStatistics stats = {1,   2,    777,  777, 3,  10,  4, 40'000,
                                                  100, 1000, 5000, 5,   66, 777, 88};
        engine.LogInit(nullptr, -1);
        scanlog::writeBanner();
        scanlog::writeConfiguration(*scanlog::readConfiguration(engine));
        scanlog::writeDirectory("/srv");
        for (const int status : {SCANSTAT_CLEAN, SCANSTAT_INFECTED})
            scanlog::writeObject(scanlog::objectLine("/srv/a", OBJTYPE_FILE, status, "V", "why"), status);
        scanlog::writeStatistics(stats);
        QCOMPARE(scriptedEngine().logText(),
                 std::string("*******************************************************\n"
                             "\t  Vardo Anti-Virus for Linux\n"
                             "\t  Copyright (C) Quillstone, GNU GPL version 2\n"
                             "\t http://www.quillstone.example/\n"
                             "*******************************************************\n"
                             "\n"
                             "-------------------------------------------------------\n"
                             "\t\tScan Configuration\n"
                             "-------------------------------------------------------\n"
                             "Scan packed\t\t\t: Yes\n"
                             "Scan archives\t\t\t: Yes\n"
                             "Scan mails\t\t\t: Yes\n"
                             "Use heuristics scanning\t\t: Yes\n"
                             "Recursive\t\t\t: Yes\n"
                             "Follow symbolic links\t\t: No\n"
                             "Cross file system\t\t: No\n"
                             "Scan action\t\t\t: Log only\n"
                             "Log level\t\t\t: 2\n"
                             "\n"
                             "Scanning directory /srv\n"
                             "/srv/a CLEAN [V] (why)\n"
                             "/srv/a INFECTED [V] (why)\n"
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
                             "-------------------------------------------------------\n"));
        QString levels;
        for (const scripted::LogLine& line : scriptedEngine().log())
            levels += QString::number(line.level);
        // The banner is five messages.
        QCOMPARE(levels, QString(5 + 13, '1') + "332" + QString(15, '1'));
    }

    void actionsHaveTheirWords()
    {
        QStringList words;
        for (unsigned action = 0; action < 6; ++action) {
            for (const unsigned bits : {0U, unsigned(SCANFLAG_DISINFECT)}) {
                scriptedEngine().held.scanOpts = bits;
                scriptedEngine().held.action = action;
                words << configuration().section("Scan action\t\t\t: ", 1).section('\n', 0, 0);
            }
        }
        QCOMPARE(words.join(", "),
                 "Log only, Disinfect-Log, Delete, Disinfect-Delete, Rename, Disinfect-Rename, "
                 "Quarantine, Disinfect-Quarantine, Prompt, Disinfect-Prompt, Unknown, Unknown");
    }

    void configurationTellsWhatApplies_data()
    {
        QTest::addColumn<unsigned>("bits");
        QTest::addColumn<unsigned>("action");
        QTest::addColumn<QString>("rows"); // those that differ from the block above
        QTest::addColumn<QString>("reads");
        const auto add = [](unsigned bits, unsigned action, const char* rows, const char* reads) {
            QTest::addRow("%#x %u", bits, action) << bits << action << QString(rows) << QString(reads);
        };
        add(SCANFLAG_NO_PACKED | SCANFLAG_NO_ARCHIVES | SCANFLAG_CROSS_FS, SCANACT_RENAME,
            "Scan packed\t\t\t: No\nScan archives\t\t\t: No\nCross file system\t\t: Yes\n"
            "Scan action\t\t\t: Rename\nRename path\t\t\t: /q\n",
            "11 1 2 10");
        add(SCANFLAG_NO_MAILS | SCANFLAG_NO_HEURISTIC | SCANFLAG_FOLLOW_SYMLINKS, SCANACT_QUARANTINE,
            "Scan mails\t\t\t: No\nUse heuristics scanning\t\t: No\nFollow symbolic links\t\t: Yes\n"
            "Scan action\t\t\t: Quarantine\nQuarantine path\t\t\t: /q\n",
            "11 1 2 10");
        // With both lists the one that includes is told; it is read once for each.
        add(0x7c00, SCANACT_LOG,
            "Scan extensions\t\t\t: exe,com\nExclude directories\t\t: /proc\n"
            "Max recursion depth\t\t: 200\nMax file scan size\t\t: 5000000000\n",
            "11 1 2 6 6 7 8 9");
        add(SCANFLAG_EXCLUDE_EXTENSIONS | SCANFLAG_MAX_DEPTH | SCANFLAG_NO_RECURSE, SCANACT_LOG,
            "Recursive\t\t\t: No\nExclude extensions\t\t: exe,com\n", "11 1 2 6 8");
    }

    void configurationTellsWhatApplies()
    {
        QFETCH(unsigned, bits);
        QFETCH(unsigned, action);
        const QStringList usual = configuration().split('\n');
        scriptedEngine().clearJournal();
        scriptedEngine().held = {.scanOpts = bits,
                                 .action = action,
                                 .extensions = "exe,com",
                                 .excludeDirs = "/proc",
                                 .maxDepth = 200,
                                 .maxSize = 5'000'000'000,
                                 .actData = "/q"};
        QString rows;
        for (const QString& row : configuration().split('\n'))
            rows += usual.contains(row) ? "" : row + '\n';
        QTEST(rows, "rows");
        QStringList reads;
        for (const std::string& call : scriptedEngine().journal()) {
            if (call.starts_with("GetOption "))
                reads << QString::fromStdString(call.substr(10));
        }
        QTEST(reads.join(' '), "reads");

        scriptedEngine().setResult("GetOption " + reads.back().toStdString(), -1);
        QCOMPARE(configuration(), ""); // one that is refused costs the block
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
