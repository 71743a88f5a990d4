#include "tests/libvardo/scanworld.h"

#include <QTest>

#include <sys/stat.h>

using Names = QList<QByteArray>;

/// What decides about a find: an answer, or the kind of file.
class TestDecisions : public QObject
{
    Q_OBJECT

  private slots:
    /// A mail folder stays, with all that is not infected in it.
    void leavesMailFoldersAlone()
    {
        const QByteArray mail = "From a@b Mon Jan  1 00:00:00 2024\nSubject: infected\n\nHello\n\n";
        const struct
        {
            const char* name;
            QByteArray content;
            bool folder = false;
            mode_t mode = 0644;
        } rows[] = {{"mbox", mail + mail, true},
                    {"dos", QByteArray(mail + mail).replace("\n", "\r\n"), true},
                    {"long", mail + QByteArray(3 << 20, 'x') + "\n\n" + mail, true},
                    {"pst", QByteArray("!BDN\0\0\0\0SM\x17\0", 12), true},
                    {"one", mail},
                    {"quoted", mail + ">" + mail},
                    {"text", mail + "From here on\nnothing\n"},
                    {"program", mail + mail, false, 0755}};
        for (const bool acts : {false, true}) {
            ScanWorld world;
            QList<QByteArray> expected;
            for (const auto& row : rows) {
                QCOMPARE(::chmod(world.write(row.name, row.content).constData(), row.mode), 0);
                expected.append(row.name + QByteArray(row.folder && !acts ? " 2" : " 32"));
            }
            std::sort(expected.begin(), expected.end());
            world.service.infectsAll = true;
            world.plan.action = SCANACT_DELETE;
            world.plan.mailFolders = acts;
            QCOMPARE(world.scan(), 0);
            QCOMPARE(world.files(true), expected);
            QVERIFY(acts || world.find("mbox")->remark == "left alone: it holds other mails too");
        }
    }

    /// Each answer with its data, for each kind of find.
    void obeysThePrompt()
    {
        ScanWorld world;
        world.directory("../chosen");
        const QByteArray chosen = world.path("../chosen");
        const struct
        {
            QByteArray asked; ///< empty: is not asked about
            int answer;
            QByteArray data;
            QByteArray report;
            const char* content = "infected";
        } rows[] = {
            {"1", PROMPT_NOTHING, "", "1 2"},
            {"2", PROMPT_DELETE, "", "2 32"},
            {"3", PROMPT_RENAME, "", "3 128"},
            {"4", PROMPT_RENAME, "own", "4 128"},
            {"5", PROMPT_RENAME, "x/../../../escaped", "5 128"}, // no extension: it would lead elsewhere
            {"6", PROMPT_QUARANTINE, "", "6 64"},
            {"7", PROMPT_QUARANTINE, chosen, "7 64"},
            {"8", PROMPT_CLOSE, "", "8 2"},
            {"", PROMPT_DELETE, "", "9-clean 1", "clean"},
            {"9-suspected", PROMPT_DELETE, "", "9-suspected 32", "suspected"},
            {"9-zip=>a.zip=>b.exe", PROMPT_DELETE, "", "9-zip 32", "inner"},
        };
        Names reports;
        for (const auto& row : rows) {
            reports.append(row.report);
            world.write(row.report.split(' ').first(), row.content);
        }
        world.plan.action = SCANACT_PROMPT;
        int asked = 0;
        world.onPrompt = [&](const QByteArray& name, char* data) {
            for (const auto& row : rows) {
                if (row.asked.isEmpty() || name != world.path(row.asked))
                    continue;
                ++asked;
                qstrcpy(data, row.data.constData());
                return row.answer;
            }
            qFatal("asked about %s", name.constData());
        };
        QCOMPARE(world.scan(), 0);
        QCOMPARE(asked, 10);
        QCOMPARE(world.files(true), reports);
        QCOMPARE(ScanWorld::list(world.path()), Names({"1", "3.qst", "4.own", "5.qst", "8", "9-clean"}));
        QCOMPARE(ScanWorld::list(world.path("../quarantine")), Names({".restore", "6"}));
        QCOMPARE(ScanWorld::list(chosen), Names({".restore", "7"}));
        QCOMPARE(world.statistics.scSuspicious, 1u);
        QCOMPARE(world.statistics.scDeleted, 3u);
    }
};

QTEST_GUILESS_MAIN(TestDecisions)
#include "tst_decisions.moc"
