#include "cleanstore/cleanmemory.h"

#include <QTemporaryDir>
#include <QTest>

#include <string_view>

using cleanstore::CleanMemory;
using cleanstore::FileKey;

namespace {

constexpr CleanMemory::Time second = 1'000'000'000;
constexpr CleanMemory::Time day = 86'400 * second;
constexpr CleanMemory::Time start = 20'000 * day;

/// A memory in a directory of its own, as scans at certain times by a certain scanner see it.
struct Scans
{
    QTemporaryDir directory{QStringLiteral("/dev/shm/XXXXXX")};
    unsigned rescanDays = 0;
    std::string_view engine = "engine", conditions = "conditions", signatures = "signatures";

    std::unique_ptr<CleanMemory> at(CleanMemory::Time now)
    {
        auto opened = CleanMemory::open(directory.path().toStdString(), rescanDays, now);
        const auto bytes = [](std::string_view text) { return std::as_bytes(std::span(text)); };
        opened.value()->setScanner(bytes(engine), bytes(conditions), bytes(signatures));
        return std::move(opened).value();
    }
    void add(const FileKey& file, CleanMemory::Time now) { at(now)->add(file, now); }
    bool knows(const FileKey& file, CleanMemory::Time now) { return at(now)->knows(file, now); }
};

const FileKey file{{1, 2, 3, 4, 5}, 6, 7, start - 100 * day, start - 61 * second};

} // namespace

class TestCleanMemory : public QObject
{
    Q_OBJECT

  private slots:
    void everyPartOfAFileCounts()
    {
        Scans scans;
        scans.add(file, start);
        QVERIFY(scans.knows(file, start));
        std::array<FileKey, 9> others;
        others.fill(file);
        for (std::size_t i = 0; i < 5; ++i)
            ++others[i].fileSystem[i];
        ++others[5].inode, ++others[6].size, ++others[7].modified, ++others[8].changed;
        for (const FileKey& other : others)
            QVERIFY(!scans.knows(other, start));
    }

    void theScannerCounts()
    {
        for (std::string_view Scans::*part : {&Scans::engine, &Scans::conditions, &Scans::signatures}) {
            Scans scans;
            scans.add(file, start);
            for (const std::string_view other : {"another", ""}) {
                scans.*part = other;
                QVERIFY(!scans.knows(file, start));
            }
        }
    }

    void aClockSetBackForgets()
    {
        Scans scans;
        QVERIFY(!CleanMemory::isOldEnough(file, start - 2 * second));
        scans.add(file, start - 2 * second);
        QVERIFY(!scans.knows(file, start));
        scans.add(file, start);
        QVERIFY(scans.knows(file, start - 49 * second)); // its change still lies behind
        QVERIFY(!scans.knows(file, start - 51 * second));
        QVERIFY(!scans.knows(file, start));

        scans.add(file, start);
        const auto running = scans.at(start);
        QVERIFY(running->knows(file, start));
        QVERIFY(!running->knows(file, start - 51 * second));
        QVERIFY(!running->knows(file, start));
        QVERIFY(!scans.knows(file, start));
    }

    void settledFilesWaitForTheirDay()
    {
        Scans scans;
        FileKey old = file;
        old.changed = start - 59 * day;
        scans.rescanDays = 7;
        scans.add(old, start);
        scans.signatures = "second";
        QVERIFY(!scans.knows(old, start + 2 * day)); // clean under one set alone
        scans.add(old, start + 2 * day);
        scans.signatures = "third";
        QVERIFY(scans.knows(old, start + 8 * day));
        QVERIFY(!scans.knows(old, start + 9 * day));
        scans.rescanDays = 0;
        QVERIFY(!scans.knows(old, start + 8 * day));
        scans.rescanDays = 7;
        scans.engine = "another";
        QVERIFY(!scans.knows(old, start + 8 * day));

        scans.engine = "engine";
        for (const std::string_view set : {"first", "second", "third"}) {
            scans.signatures = set;
            QVERIFY(!scans.knows(file, start + 9 * day)); // changed too lately
            scans.add(file, start + 9 * day);
        }
    }
};

QTEST_GUILESS_MAIN(TestCleanMemory)
#include "tst_cleanmemory.moc"
