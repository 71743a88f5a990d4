#include "base/paths.h"
#include "quarantine/quarantined.h"
#include "quarantine/recordfile.h"
#include "quarantine/store.h"
#include "tests/support/sandbox.h"

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace quarantine;

namespace {

const fs::path directory = paths::quarantine;
const fs::path records = paths::quarantineRecords;
const fs::path newRecords = paths::newQuarantineRecords;

/// Puts a file into the quarantine directory that was read last at the given time and changed much later.
void putAway(const std::string& name, std::size_t size, std::time_t read)
{
    sandbox::writeFile(directory / name, std::string(size, 'x'));
    const timespec times[2] = {{read, 0}, {read + 86'400, 0}};
    utimensat(AT_FDCWD, (directory / name).c_str(), times, 0);
}

std::time_t localTime(int year, int month, int day, int hour)
{
    return QDateTime(QDate(year, month, day), QTime(hour, 0)).toSecsSinceEpoch();
}

Record lastRecord()
{
    const auto all = parseRecords(sandbox::readFile(records));
    return all.empty() ? Record{} : all.back();
}

RecordFile::Outcome rewriteWith(const std::string& content)
{
    return RecordFile().rewrite(RecordFile::Need::Reading, [&](const std::string&) { return content; });
}

} // namespace

class TestQuarantineRecord : public QObject
{
    Q_OBJECT

  private slots:
    void init() { sandbox::makeInstallation(); }

    void recordsAreAppendedByteForByte()
    {
        const mode_t before = umask(0077);
        putAway("a=>b\xff.com", 512, localTime(2026, 2, 3, 4));
        putAway("big", 3 * 1024 + 1023, localTime(2025, 12, 31, 23));
        QVERIFY(recordQuarantined("/home/x/a=>b\xff.com", "Some.Virus-1"));
        QVERIFY(recordQuarantined("/home/x/archive.zip=>dir/big", "Other~#^|~"));
        umask(before);
        QCOMPARE(QByteArray::fromStdString(sandbox::readFile(records)),
                 QByteArray("a=>b\xff.com~#^|~2026 02 03 04:00:00~#^|~512~#^|~Some.Virus-1~#^|~\n"
                            "big~#^|~2025 12 31 23:00:00~#^|~3K~#^|~Other~#^|~~#^|~\n"));
        QCOMPARE(fs::status(records).permissions(), fs::perms(0664)); // whatever the umask
    }

    void nameIsTheLastOfItsSeries()
    {
        for (const char* name : {"name", "name-0", "name-1"}) {
            putAway(name, 1, 0);
            QVERIFY(recordQuarantined("/name", "v"));
            QCOMPARE(lastRecord().name, std::string(name));
        }
        putAway("name-3", 1, 0);
        QVERIFY(recordQuarantined("/name", "v"));
        QCOMPARE(lastRecord().name, std::string("name-1")); // a gap ends the series

        for (int i = -1; i <= 1030; ++i)
            putAway(i < 0 ? "n" : "n-" + std::to_string(i), 1, 0);
        QVERIFY(recordQuarantined("/n", "v"));
        QCOMPARE(lastRecord().name, std::string("n-1022")); // and so does its limit

        const std::string kept(255, 'l');
        putAway(kept, 1, 0);
        QVERIFY(recordQuarantined(("/x/" + kept + "more").c_str(), "v"));
        QCOMPARE(lastRecord().name, kept);
        const std::string second = kept.substr(2) + "-0"; // the second one of this name
        putAway(second, 1, 0);
        QVERIFY(recordQuarantined(("/y/" + kept).c_str(), "v"));
        QCOMPARE(lastRecord().name, second);
    }

    void whatCannotBeLookedIntoStaysRecorded()
    {
        putAway("here", 1, 0);
        QVERIFY(recordQuarantined("/here", "v"));
        const std::string before = sandbox::readFile(records);
        fs::rename(directory, directory.string() + ".real");
        fs::create_symlink(directory.string() + ".real", directory); // which root did not make
        QVERIFY(!quarantine::load());
        QCOMPARE(sandbox::readFile(records), before);
    }

    void sizesAreBytesOrWholeKilobytes()
    {
        struct stat status = {};
        const std::pair<off_t, const char*> sizes[] = {
            {0, "0"},
            {1023, "1023"},
            {1024, "1K"},
            {2047, "1K"},
            {999'999 * 1024L, "999999K"},
            {1'000'000 * 1024L, "1e+06K"},
            {1'234'567 * 1024L, "1.23457e+06K"},
            {30'000'000 * 1024L, "3e+07K"},
        };
        for (const auto& [size, text] : sizes) {
            status.st_size = size;
            QCOMPARE(makeRecord("f", status, "v").size, std::string(text));
        }
    }

    void failsWithoutFileOrDirectory()
    {
        QVERIFY(!recordQuarantined("/gone", "v"));
        putAway("here", 1, 0);
        fs::rename(records.parent_path(), "/opt/Quillstone/etc/other");
        fs::create_symlink("other", records.parent_path());
        QVERIFY(!recordQuarantined("/here", "v"));
        QCOMPARE(rewriteWith(""), RecordFile::Outcome::NotOpened);
        QVERIFY(!fs::exists("/opt/Quillstone/etc/other/.quarantined"));
    }

    void diskThatIsFullLeavesWholeRecords()
    {
        putAway("first", 1, 0);
        putAway("second", 1, 0);
        QVERIFY(recordQuarantined("/first", "v"));
        const std::string before = sandbox::readFile(records);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit tight{before.size() + 10, limit.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &tight);
        const bool appended = recordQuarantined("/second", "v");
        const auto outcome = rewriteWith(before + before);
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, handler);
        QVERIFY(!appended);
        QCOMPARE(outcome, RecordFile::Outcome::NotReplaced);
        QCOMPARE(sandbox::readFile(records), before);
        QVERIFY(!fs::exists(newRecords));
    }

    /// In the place of the record file and of the new one that shall replace it.
    void whatIsPlantedIsNotFollowed_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("symbolic link") << 0;
        QTest::newRow("hard link") << 1;
        QTest::newRow("FIFO") << 2;
        QTest::newRow("directory") << 3;
    }

    void whatIsPlantedIsNotFollowed()
    {
        QFETCH(int, kind);
        putAway("here", 1, 0);
        const fs::path victim = "/opt/Quillstone/etc/victim";
        sandbox::writeFile(victim, "precious\n");
        const auto plant = [&](const fs::path& place) {
            if (kind == 0)
                fs::create_symlink(victim, place);
            else if (kind == 1)
                fs::create_hard_link(victim, place);
            else if (kind == 2)
                mkfifo(place.c_str(), 0666);
            else
                fs::create_directory(place);
        };
        plant(records);
        QVERIFY(!recordQuarantined("/here", "v"));
        QVERIFY(!RecordFile().read());
        QCOMPARE(rewriteWith("x"), RecordFile::Outcome::NotOpened);
        QVERIFY(RecordFile().clear());
        fs::remove(records);

        QVERIFY(recordQuarantined("/here", "v"));
        plant(newRecords);
        QCOMPARE(rewriteWith("x"), RecordFile::Outcome::Done);
        QVERIFY(fs::is_regular_file(fs::symlink_status(records)));
        QCOMPARE(sandbox::readFile(victim), std::string("precious\n"));
        QCOMPARE(fs::hard_link_count(victim), std::uintmax_t(1));
    }

    void rootsChmodFollowsNoLink()
    {
        const auto chmod = [] {
            QStringList words;
            for (const std::string& word :
                 sandbox::asUser({0, 0}, {RUNASROOT, "/bin/chmod", "666", paths::newQuarantineRecords}))
                words << QString::fromStdString(word);
            const QString program = words.takeFirst();
            return QProcess::execute(program, words);
        };
        const fs::path victim = "/opt/Quillstone/etc/victim";
        for (const fs::path& path : {victim, newRecords}) {
            sandbox::writeFile(path, "");
            fs::permissions(path, fs::perms(0604));
        }
        QCOMPARE(chmod(), 0);
        QCOMPARE(fs::status(newRecords).permissions(), fs::perms(0666));
        fs::remove(newRecords);
        fs::create_symlink(victim, newRecords);
        QVERIFY(chmod() != 0);
        QCOMPARE(fs::status(victim).permissions(), fs::perms(0604));
    }

    void lockThatIsNeverGivenBackDelaysOnce()
    {
        putAway("here", 1, 0);
        const base::UniqueFd others(open(records.parent_path().c_str(), O_RDONLY | O_CLOEXEC));
        QCOMPARE(flock(others.get(), LOCK_EX), 0); // which anybody can have
        const base::UniqueFd holder(open(paths::quarantine, O_RDONLY | O_CLOEXEC));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(recordQuarantined("/here", "v") && timer.elapsed() < 3000);
        QCOMPARE(flock(holder.get(), LOCK_EX), 0);
        for (int i = 0; i < 10; ++i)
            QVERIFY(recordQuarantined("/here", "v"));
        QCOMPARE(rewriteWith("x"), RecordFile::Outcome::Done);
        QVERIFY2(timer.elapsed() >= 3000 && timer.elapsed() < 10'000,
                 qPrintable(QString::number(timer.elapsed())));
    }
};

VARDO_SANDBOX_TEST_MAIN(TestQuarantineRecord, 1000, 1000)
#include "tst_quarantinerecord.moc"
