#include "scan/quarantinerecord.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QTest>

#include <csignal>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const fs::path quarantine = "/var/Quillstone/var/quarantine/vardo";
const fs::path records = "/opt/Quillstone/etc/vardo/.quarantined";

/// Puts a file into the quarantine directory that was read last at the given time and changed much later.
void putAway(const std::string& name, std::size_t size, std::time_t read)
{
    sandbox::writeFile(quarantine / name, std::string(size, 'x'));
    const timespec times[2] = {{read, 0}, {read + 86'400, 0}};
    utimensat(AT_FDCWD, (quarantine / name).c_str(), times, 0);
}

std::time_t localTime(int year, int month, int day, int hour)
{
    tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_isdst = -1;
    return mktime(&local);
}

/// The last record's field `number`, from 1.
QString field(int number)
{
    const QStringList lines = QString::fromStdString(sandbox::readFile(records)).split('\n');
    return lines.value(lines.size() - 2).split("~#^|~").value(number - 1);
}

} // namespace

class TestQuarantineRecord : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void recordsAreAppendedByteForByte()
    {
        putAway("a=>b\xff.com", 512, localTime(2026, 2, 3, 4));
        putAway("big", 3 * 1024 + 1023, localTime(2025, 12, 31, 23));
        QVERIFY(appendQuarantineRecord("/home/x/a=>b\xff.com", "Some.Virus-1"));
        QVERIFY(appendQuarantineRecord("/home/x/archive.zip=>dir/big", "Other~#^|~"));
        QCOMPARE(QByteArray::fromStdString(sandbox::readFile(records)),
                 QByteArray("a=>b\xff.com~#^|~2026 02 03 04:00:00~#^|~512~#^|~Some.Virus-1~#^|~\n"
                            "big~#^|~2025 12 31 23:00:00~#^|~3K~#^|~Other~#^|~~#^|~\n"));
    }

    void recordsAreTheGroups()
    {
        const mode_t before = umask(0077);
        putAway("f", 1, 0);
        QVERIFY(appendQuarantineRecord("/f", "v"));
        umask(before);
        QCOMPARE(fs::status(records).permissions(), fs::perms(0664));
        fs::permissions(records, fs::perms(0600)); // somebody's wish
        QVERIFY(appendQuarantineRecord("/f", "v"));
        QCOMPARE(fs::status(records).permissions(), fs::perms(0600));
    }

    void nameIsTheLastOfItsSeries()
    {
        const char* const expected[] = {"name", "name-0", "name-1"};
        for (const char* name : expected) {
            putAway(name, 1, 0);
            QVERIFY(appendQuarantineRecord("/name", "v"));
            QCOMPARE(field(1), name);
        }
        putAway("name-3", 1, 0);
        QVERIFY(appendQuarantineRecord("/name", "v"));
        QCOMPARE(field(1), "name-1"); // a gap ends the series
    }

    void seriesEndsAtItsLimit()
    {
        for (int i = -1; i <= 1030; ++i)
            putAway(i < 0 ? "n" : "n-" + std::to_string(i), 1, 0);
        QVERIFY(appendQuarantineRecord("/n", "v"));
        QCOMPARE(field(1), "n-1022");
    }

    void longNamesAreCut()
    {
        const std::string kept(255, 'l');
        putAway(kept, 1, 0);
        QVERIFY(appendQuarantineRecord(("/x/" + kept + "more").c_str(), "v"));
        QCOMPARE(field(1), QString::fromStdString(kept));
    }

    void sizesAreBytesOrWholeKilobytes_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("shown");
        QTest::newRow("empty") << qint64(0) << "0";
        QTest::newRow("below a kilobyte") << qint64(1023) << "1023";
        QTest::newRow("one") << qint64(1024) << "1K";
        QTest::newRow("truncated") << qint64(2047) << "1K";
        QTest::newRow("six digits") << qint64(999'999) * 1024 << "999999K";
        QTest::newRow("seven digits") << qint64(1'000'000) * 1024 << "1e+06K";
        QTest::newRow("rounded") << qint64(1'234'567) * 1024 << "1.23457e+06K";
        QTest::newRow("huge") << qint64(30'000'000) * 1024 << "3e+07K";
    }

    void sizesAreBytesOrWholeKilobytes()
    {
        QFETCH(qint64, size);
        putAway("f", 0, 0);
        if (truncate((quarantine / "f").c_str(), size) != 0)
            QSKIP("the file system here holds no file of that size");
        QVERIFY(appendQuarantineRecord("/f", "v"));
        QTEST(field(3), "shown");
    }

    void failsWithoutFileOrRecords()
    {
        QVERIFY(!appendQuarantineRecord("/gone", "v"));
        putAway("here", 1, 0);
        fs::remove(records);
        fs::create_directory(records);
        QVERIFY(!appendQuarantineRecord("/here", "v"));
    }

    void noHalfRecordIsLeftWhenSpaceRunsOut()
    {
        putAway("first", 1, 0);
        putAway("second", 1, 0);
        QVERIFY(appendQuarantineRecord("/first", "v"));
        const std::string before = sandbox::readFile(records);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit tight{before.size() + 10, limit.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &tight);
        const bool appended = appendQuarantineRecord("/second", "v");
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, handler);
        QVERIFY(!appended);
        QCOMPARE(sandbox::readFile(records), before);
    }

    void plantedLinksAreRefused_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("symbolic link") << 0;
        QTest::newRow("hard link") << 1;
        QTest::newRow("link in the directory's place") << 2;
        QTest::newRow("FIFO") << 3;
    }

    void plantedLinksAreRefused()
    {
        QFETCH(int, kind);
        putAway("here", 1, 0);
        const fs::path victim = "/opt/Quillstone/etc/victim";
        sandbox::writeFile(victim, "precious\n");
        if (kind == 0)
            fs::create_symlink(victim, records);
        if (kind == 1)
            fs::create_hard_link(victim, records);
        if (kind == 2) {
            fs::create_directory("/opt/Quillstone/etc/other");
            fs::remove_all(records.parent_path());
            fs::create_symlink("other", records.parent_path());
        }
        if (kind == 3)
            QCOMPARE(mkfifo(records.c_str(), 0666), 0);
        QVERIFY(!appendQuarantineRecord("/here", "v"));
        QCOMPARE(sandbox::readFile(victim), std::string("precious\n"));
        QVERIFY(!fs::exists("/opt/Quillstone/etc/other/.quarantined"));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestQuarantineRecord, 1000, 1000)
#include "tst_quarantinerecord.moc"
