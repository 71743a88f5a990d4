#include "tests/libvardo/scanworld.h"

#include <QTest>

using Names = QList<QByteArray>;

/// What happens on the disk and to the front-end around the questions of a scan with the action "prompt".
class TestPrompt : public QObject
{
    Q_OBJECT

  private slots:
    void asksInOrderAndWaits();
    void stopsBeforeTheAnswerIsCarriedOut();
};

void TestPrompt::asksInOrderAndWaits()
{
    ScanWorld world;
    constexpr int count = 40;
    Names wanted;
    for (int i = 0; i < count; ++i) {
        wanted.append("bad-" + QByteArray::number(i + 100));
        world.write(wanted.back(), "infected");
        world.write("good-" + QByteArray::number(i + 100));
    }
    world.service.backwards = true;
    world.plan.action = SCANACT_PROMPT;
    Names asked;
    world.onPrompt = [&](const QByteArray& name, char*) {
        // Until then the workers have looked at all the files that are let in, and the last ones first.
        if (asked.isEmpty() && !QTest::qWaitFor([&] { return world.service.submitted == 2 * count; }))
            qFatal("the workers wait for the answer");
        const auto calls = world.calls.size();
        const auto files = ScanWorld::list(world.path());
        QTest::qWait(2);
        asked.append(name.mid(world.path().size() + 1));
        if (world.calls.size() != calls || ScanWorld::list(world.path()) != files ||
            files.size() != 2 * count - (asked.size() - 1))
            qFatal("something happened behind an open question");
        return static_cast<int>(PROMPT_DELETE);
    };
    QCOMPARE(world.scan(), 0);
    QCOMPARE(asked, wanted);
    QCOMPARE(world.statistics.scDeleted, unsigned(count));
}

void TestPrompt::stopsBeforeTheAnswerIsCarriedOut()
{
    ScanWorld world;
    world.write("1", "infected");
    world.write("2", "infected");
    world.plan.action = SCANACT_PROMPT;
    int asked = 0;
    world.onPrompt = [&](const QByteArray&, char*) {
        ++asked;
        world.onCall = [](const Call&) { return static_cast<int>(CALLBACK_STOP); };
        return static_cast<int>(PROMPT_DELETE);
    };
    QCOMPARE(world.scan(), int(SCANRESULT_CANCELLED));
    QCOMPARE(asked, 1);
    QCOMPARE(ScanWorld::list(world.path()), Names({"1", "2"}));
    QCOMPARE(world.statistics.scDeleted, 0u);
}

QTEST_GUILESS_MAIN(TestPrompt)
#include "tst_prompt.moc"
